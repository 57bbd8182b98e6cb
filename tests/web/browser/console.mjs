// The web console as a user sees it in Chromium, against the real host and the simulator
// (run.sh starts them). Each check waits on a condition with a generous bound, since CI may
// run under load; the simulator's control socket says what reached the units.
import { createRequire } from "node:module";
import { readFileSync } from "node:fs";
import net from "node:net";

const { chromium } = createRequire(process.env.MODULES + "/")("playwright-core");
const site = process.env.CONSOLE_URL;
const bound = 30000;

// One line on the simulator's control socket; its answer without "OK ".
function control(line) {
  return new Promise((resolve, reject) => {
    let got = "";
    const s = net.createConnection(process.env.CONTROL, () => s.write(line + "\n"));
    s.on("data", (d) => {
      got += d;
      const m = got.match(/^(OK|ERR)\s?(.*)$/m);
      if (m) { s.end(); m[1] === "OK" ? resolve(m[2]) : reject(new Error(line + ": " + m[2])); }
    });
    s.on("error", reject);
  });
}

async function until(what, f, limit = bound) {
  const end = Date.now() + limit;
  for (let last; ; await new Promise((r) => setTimeout(r, 200))) {
    last = await f();
    if (last === true) return;
    if (Date.now() > end) throw new Error(what + " (last seen: " + JSON.stringify(last) + ")");
  }
}

const browser = await chromium.launch({ executablePath: process.env.CHROMIUM });
const context = await browser.newContext({ acceptDownloads: true });
const pageErrors = [];
context.on("page", (p) => {
  p.on("pageerror", (e) => pageErrors.push(e.message));
  p.on("dialog", (d) => d.accept());
});
const cardState = (page, name) => page.locator("article.card", { has: page.getByRole("link", { name, exact: true }) }).locator(".state").textContent();
// The diagram as drawn: whether the line between two blocks' centres is lit, and a block's state word.
const drawn = (page) => page.evaluate(() => {
  const svg = document.getElementById("flow"), centre = {};
  for (const t of svg.querySelectorAll("text")) {
    const r = t.previousElementSibling;
    if (r && r.tagName === "rect") centre[t.textContent] = [+r.getAttribute("x") + r.getAttribute("width") / 2, +r.getAttribute("y") + r.getAttribute("height") / 2];
  }
  const lit = (a, b) => [...svg.querySelectorAll("line")].some((l) => l.classList.contains("lit")
    && +l.getAttribute("x1") === centre[a][0] && +l.getAttribute("y1") === centre[a][1] && +l.getAttribute("x2") === centre[b][0] && +l.getAttribute("y2") === centre[b][1]);
  const on = (b) => [...svg.querySelectorAll("text")].find((t) => t.textContent === b).nextElementSibling.textContent;
  return centre.battery ? { batteryToInverter: lit("battery", "inverter"), inputToRectifier: lit("input", "rectifier"), battery: on("battery") } : null;
});

const checks = [
  ["the site page shows a card per unit, online", async () => {
    const page = await context.newPage();
    await page.goto(site);
    await until("two cards", async () => (await page.locator("article.card").count()) === 2 || (await page.locator("article.card").count()));
    for (const name of ["UPS1", "UPS2"]) await until(name + " online", async () => (await cardState(page, name)) === "Online" || cardState(page, name));
  }],
  ["a mains failure at unit 1 shows on its card and lights the battery path of its diagram", async () => {
    const [sitePage, unitPage] = [context.pages()[0], await context.newPage()];
    await unitPage.goto(site + "unit?unit=UPS1");
    await until("UPS1's diagram on mains", async () => JSON.stringify(await drawn(unitPage)) === JSON.stringify({ batteryToInverter: false, inputToRectifier: true, battery: "off" }) || drawn(unitPage));
    const start = Date.now();
    await control("mains 1 off");
    // One polling interval (1 s) and a few seconds of a loaded machine.
    await until("UPS1's card on battery", async () => (await cardState(sitePage, "UPS1")).startsWith("On battery") || cardState(sitePage, "UPS1"), 11000);
    const card = Date.now() - start;
    await until("UPS1's diagram on battery", async () => JSON.stringify(await drawn(unitPage)) === JSON.stringify({ batteryToInverter: true, inputToRectifier: false, battery: "on" }) || drawn(unitPage));
    console.log(`  card after ${card} ms, diagram after ${Date.now() - start} ms`);
    if ((await cardState(sitePage, "UPS2")) !== "Online") throw new Error("UPS2 left mains too");
    await control("mains 1 on");
  }],
  ["without a login a command from the page is refused and reaches no unit", async () => {
    const page = context.pages()[1];
    const reply = page.waitForResponse((r) => r.url().endsWith("/commands/beeper.disable"));
    await page.getByRole("button", { name: "Disable the UPS beeper" }).click();
    if ((await reply).status() !== 403) throw new Error("answered " + (await reply).status());
    await until("the refusal shown", async () => /^Refused: login required/.test(await page.locator("#commandResult").textContent()) || page.locator("#commandResult").textContent());
    if ((await control("get all 4260")) !== "1=1 2=1") throw new Error("a beeper changed");
    if (readFileSync(process.env.HOST_LOG, "utf8").includes("beeper.disable queued")) throw new Error("the host queued it");
  }],
  ["after a login on the page, a command reaches its unit only", async () => {
    const page = context.pages()[1];
    await page.getByLabel("user").fill("admin");
    await page.getByLabel("password").fill("adminpw");
    await page.getByRole("button", { name: "Log in" }).click();
    await until("logged in", async () => (await page.locator("#session").textContent()).startsWith("Logged in as admin"));
    await page.getByRole("button", { name: "Disable the UPS beeper" }).click();
    await until("sent", async () => (await page.locator("#commandResult").textContent()) === "Sent: beeper.disable (queued)" || page.locator("#commandResult").textContent());
    await until("UPS1's beeper off", async () => (await control("get 1 4260")) === "0");
    if ((await control("get 2 4260")) !== "1") throw new Error("UPS2's beeper changed");
  }],
  ["a setting typed survives the data reports; in range it is written and read back, out of range refused with its range", async () => {
    const page = context.pages()[1];
    const row = page.locator("#settings tr", { has: page.getByRole("cell", { name: "LCD backlight lighten time", exact: true }) });
    // Two reads of the unit after the value is typed: the page has drawn a data report meanwhile.
    const set = async (value) => {
      const input = row.getByRole("spinbutton");
      await input.fill(value);
      for (let i = 0; i < 2; i++) await page.waitForResponse((r) => r.url().endsWith("/api/units/UPS1"), { timeout: bound });
      if ((await input.inputValue()) !== value) throw new Error("a data report took away the value typed");
      await row.getByRole("button", { name: "Set" }).click();
    };
    const result = () => page.locator("#commandResult").textContent();
    await set("12");
    await until("sent", async () => (await result()) === "Sent: vek5.lcd.backlight.lighten.time (queued)" || result());
    await until("the unit holds 12", async () => (await control("get 1 3028")) === "12");
    await until("the page reads 12 back", async () => (await row.locator("td").nth(1).textContent()) === "12" || row.locator("td").nth(1).textContent());
    await set("31");
    await until("refused with its range", async () => /^Refused: .*\(range 1–30\)$/.test(await result()) || result());
    if ((await control("get 1 3028")) !== "12") throw new Error("the refused value reached the unit");
  }],
  ["the history export downloads as CSV", async () => {
    const page = context.pages()[1];
    await page.getByRole("button", { name: /^Download the event history/ }).click();
    let reply;
    await until("the export served", async () => (reply = await page.request.get(site + "api/units/UPS1/history.csv")).status() === 200 || reply.status());
    if (!reply.headers()["content-type"].startsWith("text/csv")) throw new Error("served as " + reply.headers()["content-type"]);
    const download = page.waitForEvent("download");
    await page.getByRole("link", { name: /history export \(CSV\)/ }).click();
    const file = readFileSync(await (await download).path(), "utf8");
    if ((await download).suggestedFilename() !== "UPS1-history.csv" || !file.startsWith("ID,Content,Status,Time")) throw new Error("downloaded " + (await download).suggestedFilename() + ": " + file.slice(0, 80));
  }],
];

let failed = 0;
for (const [name, check] of checks) {
  try { await check(); console.log("PASS " + name); } catch (e) { failed++; console.log("FAIL " + name + ": " + e.message); }
}
if (pageErrors.length) { failed++; console.log("FAIL page errors: " + pageErrors.join("; ")); }
await browser.close();
process.exit(failed ? 1 : 0);
