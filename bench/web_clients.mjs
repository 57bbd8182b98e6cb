// The web console under live clients (run by bench/web_clients.sh, which starts the host
// and the simulator): the host's CPU with no client and with CLIENTS live streams, the time
// from a change at a unit (control socket) to its push reaching every client, errors, and
// what Chromium loads and when it first draws.
import { createRequire } from "node:module";
import { execSync } from "node:child_process";
import { readFileSync } from "node:fs";
import http from "node:http";
import net from "node:net";

const { chromium } = createRequire(process.env.MODULES + "/")("playwright-core");
const site = process.env.CONSOLE_URL, units = +process.env.UNITS;
const clients = +(process.env.CLIENTS || 100), seconds = +(process.env.SECONDS || 60);
const tick = +execSync("getconf CLK_TCK");
const sleep = (ms) => new Promise((r) => setTimeout(r, ms));

function control(line) {
  return new Promise((resolve, reject) => {
    const s = net.createConnection(process.env.CONTROL, () => s.write(line + "\n"));
    s.on("data", (d) => { if (/^(OK|ERR)/m.test(d)) { s.end(); resolve(String(d)); } });
    s.on("error", reject);
  });
}
// The host's CPU seconds so far (user + system), from /proc.
const cpu = () => readFileSync(`/proc/${process.env.HOST_PID}/stat`, "utf8").split(") ")[1].split(" ").slice(11, 13).reduce((a, b) => a + +b, 0) / tick;
async function cpuOver(s) {
  const [c, t] = [cpu(), Date.now()];
  await sleep(s * 1000);
  return (100 * (cpu() - c)) / ((Date.now() - t) / 1000);
}
const pct = (a, p) => a.slice().sort((x, y) => x - y)[Math.min(a.length - 1, Math.floor((p / 100) * a.length))];

// A live client: the stream's status events, with the time each unit's status was first seen
// to hold a flag after `watch` set it.
function client(errors) {
  const c = { events: 0, waiting: null };
  http.get(site + "api/events", { agent: false }, (res) => {
    if (res.statusCode !== 200) { errors.push("status " + res.statusCode); res.resume(); return; }
    let buf = "";
    res.setEncoding("utf8");
    res.on("data", (d) => {
      buf += d;
      for (let i; (i = buf.indexOf("\n\n")) >= 0; buf = buf.slice(i + 2)) {
        const block = buf.slice(0, i);
        if (!block.startsWith("event: status")) continue;
        c.events++;
        const u = JSON.parse(block.slice(block.indexOf("data: ") + 6));
        const w = c.waiting;
        if (w && u.name === w.unit && u.status.split(" ").includes("OB") === w.onBattery) { w.done(performance.now()); c.waiting = null; }
      }
    });
    res.on("end", () => errors.push("stream ended"));
  }).on("error", (e) => errors.push(e.message));
  return c;
}

while (!(await (await fetch(site + "api/units")).json()).units.every((u) => u.comm === "ok")) await sleep(500);
// Every 4-5 s (at a random point of the polling cycle) one unit's mains fail or return, in turn;
// each client's first status showing it is timed, and the spread from the first client to the last.
let k = 0;
async function changes(live, seconds) {
  const r = { latencies: [], spreads: [], missed: 0, changes: 0 }, t0 = Date.now();
  for (; Date.now() - t0 < seconds * 1000 - 4000; k++) {
    const unit = (k % units) + 1, onBattery = Math.floor(k / units) % 2 === 0;
    const arrivals = live.map((c) => new Promise((done) => {
      const w = (c.waiting = { unit: "UPS" + unit, onBattery, done });
      setTimeout(() => { if (c.waiting === w) { c.waiting = null; done(null); } }, 4000);
    }));
    const sent = performance.now();
    await control(`mains ${unit} ${onBattery ? "off" : "on"}`);
    r.changes++;
    const got = (await Promise.all(arrivals)).filter((t) => t !== null);
    r.missed += live.length - got.length;
    r.latencies.push(...got.map((t) => t - sent));
    if (got.length) r.spreads.push(Math.max(...got) - Math.min(...got));
    await sleep(Math.max(0, 4000 + 1000 * Math.random() - (performance.now() - sent)));
  }
  return r;
}
const said = (r) => `${r.changes} changes, ${r.latencies.length} deliveries, median ${pct(r.latencies, 50).toFixed(0)} ms, p99 ${pct(r.latencies, 99).toFixed(0)} ms, max ${Math.max(...r.latencies).toFixed(0)} ms; first to last client: median ${pct(r.spreads, 50).toFixed(1)} ms, max ${Math.max(...r.spreads).toFixed(1)} ms; missed (over 4 s) ${r.missed}`;

const idle = await cpuOver(20);
const errors = [];
const one = await changes([client(errors)], 24);
const live = Array.from({ length: clients }, () => client(errors));
await sleep(5000);
const before = live.reduce((a, c) => a + c.events, 0);
const c0 = cpu(), t0 = Date.now();
const many = await changes(live, seconds);
const busy = (100 * (cpu() - c0)) / ((Date.now() - t0) / 1000);
const perSecond = (live.reduce((a, c) => a + c.events, 0) - before) / ((Date.now() - t0) / 1000);
console.log(`host CPU, ${units} units at 1 s, no client: ${idle.toFixed(1)} % of a core`);
console.log(`host CPU with ${clients} live clients over ${((Date.now() - t0) / 1000).toFixed(0)} s: ${busy.toFixed(1)} % of a core`);
console.log(`status events received: ${perSecond.toFixed(0)}/s in all`);
console.log(`change to push, 1 client: ${said(one)}`);
console.log(`change to push at each of ${clients} clients: ${said(many)}; errors ${errors.length}${errors.length ? ": " + [...new Set(errors)].join(", ") : ""}`);
process.exitCode = one.missed || many.missed || errors.length ? 1 : 0;

// The first load in Chromium, with the live clients still connected.
const browser = await chromium.launch({ executablePath: process.env.CHROMIUM });
for (const [path, drawn] of [["", `article.card:nth-of-type(${units})`], ["unit?unit=UPS1", "#flow line"]]) {
  const page = await browser.newPage();
  await page.goto(site + path);
  // Polled at each animation frame: the time the data was first drawn.
  const at = await (await page.waitForFunction((sel) => document.querySelector(sel) && performance.now(), drawn, { timeout: 30000 })).jsonValue();
  const m = await page.evaluate(() => {
    const nav = performance.getEntriesByType("navigation")[0];
    const res = performance.getEntriesByType("resource");
    const paint = performance.getEntriesByName("first-contentful-paint")[0];
    return { bytes: nav.transferSize + res.reduce((a, r) => a + r.transferSize, 0), body: nav.decodedBodySize + res.reduce((a, r) => a + r.decodedBodySize, 0),
             requests: 1 + res.length, fcp: paint && paint.startTime };
  });
  console.log(`first load of /${path}: ${m.requests} requests, ${m.bytes} bytes transferred (${m.body} of bodies), first contentful paint ${m.fcp.toFixed(0)} ms, data drawn at ${at.toFixed(0)} ms`);
  await page.close();
}
await browser.close();
process.exit(process.exitCode);
