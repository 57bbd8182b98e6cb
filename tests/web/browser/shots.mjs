// The README's pictures of the web console, taken by the browser the test drives:
//   SCRIPT=shots.mjs SHOTS_DIR=$PWD/docs tests/web/browser/run.sh build/bin .
// Unit 2 is on battery, so that the pictures show a change.
import { createRequire } from "node:module";
import net from "node:net";

const { chromium } = createRequire(process.env.MODULES + "/")("playwright-core");
const site = process.env.CONSOLE_URL, dir = process.env.SHOTS_DIR;
await new Promise((resolve, reject) => {
  const s = net.createConnection(process.env.CONTROL, () => s.write("mains 2 off\n"));
  s.on("data", (d) => { if (/^OK/m.test(d)) { s.end(); resolve(); } });
  s.on("error", reject);
});

const browser = await chromium.launch({ executablePath: process.env.CHROMIUM });
const wide = await browser.newPage({ viewport: { width: 1100, height: 800 } });
await wide.goto(site);
await wide.getByText(/^On battery/).waitFor();
await wide.getByText("Live", { exact: true }).waitFor();
await wide.screenshot({ path: dir + "/web-site.png", fullPage: true });

await wide.goto(site + "unit?unit=UPS2");
await wide.locator("#flow line.lit").first().waitFor();
await wide.locator("#events li").first().waitFor();
await wide.screenshot({ path: dir + "/web-unit.png" });
const settings = wide.locator("section", { has: wide.getByRole("heading", { name: "Settings" }) });
await settings.locator("tbody tr").first().waitFor();
await wide.setViewportSize({ width: 1100, height: 600 });
await settings.evaluate((e) => e.scrollIntoView());
await wide.screenshot({ path: dir + "/web-settings.png" });

const narrow = await browser.newPage({ viewport: { width: 375, height: 740 }, deviceScaleFactor: 1, isMobile: true });
await narrow.goto(site + "unit?unit=UPS2");
await narrow.locator("#flow line.lit").first().waitFor();
await narrow.getByText("Live", { exact: true }).waitFor();
await narrow.screenshot({ path: dir + "/web-375px.png" });
await browser.close();
