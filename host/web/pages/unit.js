"use strict";
const unit = new URLSearchParams(location.search).get("unit") || "";
const base = "/api/units/" + encodeURIComponent(unit);
let lastSeq = 0;
let catalogue = null;
const eventItems = [];

document.getElementById("name").textContent = unit;
document.title = unit + " – UPS";
document.getElementById("history").href = base + "/history.csv";

// Block positions of the diagram; which paths are lit comes from the model.
const blocks = { input: [5, 85], rectifier: [100, 85], inverter: [200, 85], load: [295, 85], bypass: [150, 10], battery: [150, 160] };
const W = 60, H = 30;

function drawFlow(flow) {
  const svg = document.getElementById("flow");
  svg.replaceChildren();
  if (!flow || !flow.paths) { document.getElementById("flowText").textContent = "No data yet."; return; }
  const ns = "http://www.w3.org/2000/svg";
  const mk = (tag, attrs, text) => { const e = document.createElementNS(ns, tag); for (const [k, v] of Object.entries(attrs)) e.setAttribute(k, v); if (text) e.textContent = text; svg.append(e); return e; };
  const lit = [];
  for (const [name, on] of Object.entries(flow.paths)) {
    const [a, b] = name.split("->");
    if (!blocks[a] || !blocks[b]) continue;
    mk("line", { class: "path" + (on ? " lit" : ""), x1: blocks[a][0] + W / 2, y1: blocks[a][1] + H / 2, x2: blocks[b][0] + W / 2, y2: blocks[b][1] + H / 2 });
    if (on) lit.push(name.replace("->", " to "));
  }
  for (const [name, [x, y]] of Object.entries(blocks)) {
    const b = (flow.blocks || {})[name] || {};
    mk("rect", { x, y, width: W, height: H, rx: 4, fill: b.colour || "#eee", stroke: "#333" });
    mk("text", { x: x + 4, y: y + 13 }, name);
    mk("text", { x: x + 4, y: y + 26 }, b.on ? "on" : "off");
  }
  const v = flow.values || {};
  document.getElementById("flowText").textContent = "Power flows: " + (lit.join(", ") || "none") + ". " + [v.supplyMode, v.batteryState, v.outputMode].filter(Boolean).join("; ");
}

function showSummary(u) {
  const [level, words] = UPS.stateWords(u);
  const s = document.getElementById("summary");
  s.className = "card " + level;
  s.replaceChildren(UPS.el("p", { class: "state" }, words), UPS.el("p", { class: "note" }, u.description),
    UPS.el("dl", {}, UPS.el("dt", {}, "Status"), UPS.el("dd", {}, u.status || "–"),
      UPS.el("dt", {}, "Load"), UPS.el("dd", {}, UPS.num(u.load, " %")),
      UPS.el("dt", {}, "Battery"), UPS.el("dd", {}, UPS.num(u.batteryCharge, " %") + ", " + UPS.num(u.batteryRuntime == null ? null : u.batteryRuntime / 60, " min")),
      UPS.el("dt", {}, "Input / output"), UPS.el("dd", {}, UPS.num(u.inputVoltage, " V") + " / " + UPS.num(u.outputVoltage, " V")),
      UPS.el("dt", {}, "Data age"), UPS.el("dd", {}, u.dataAge == null ? "no data yet" : UPS.num(u.dataAge, " s"))));
}

// Status events come with every data report: one refresh at a time, and
// one more if any came meanwhile.
let refreshing = false, again = false;
async function refreshSoon() {
  if (refreshing) { again = true; return; }
  refreshing = true;
  do { again = false; await refresh(); } while (again);
  refreshing = false;
}

async function refresh() {
  const r = await UPS.request("GET", base);
  if (!r.ok) { document.getElementById("live").textContent = r.data.error || "cannot read the unit"; return; }
  const u = r.data;
  showSummary(u);
  drawFlow(u.energyFlow);
  const tables = document.getElementById("tables");
  tables.replaceChildren(...(u.tables || []).map((t) => UPS.el("div", { class: "scroll" }, UPS.el("h3", {}, t.title),
    UPS.el("table", {}, UPS.el("tbody", {}, ...t.rows.map((row) => UPS.el("tr", {}, UPS.el("th", {}, row.label), UPS.el("td", {}, row.value))))))));
  if (catalogue) showSettings(u.values || {});
  const a = await UPS.request("GET", base + "/alarms");
  const list = document.getElementById("alarms");
  list.replaceChildren(...(a.data.alarms || []).map((x) => UPS.el("li", {}, "Alarm " + x.index + ": " + x.text)));
  if (!list.children.length) list.append(UPS.el("li", {}, "No active alarms"));
}

function addEvents(events) {
  const kinds = document.getElementById("eventKind");
  for (const e of events) {
    if (e.seq <= lastSeq) continue;
    lastSeq = e.seq;
    eventItems.push(e);
    if (e.kind && ![...kinds.options].some((o) => o.value === e.kind)) kinds.append(UPS.el("option", { value: e.kind }, e.kind));
  }
  while (eventItems.length > 500) eventItems.shift();
  filterEvents();
}

function filterEvents() {
  const kind = document.getElementById("eventKind").value;
  const text = document.getElementById("eventText").value.toLowerCase();
  const shown = eventItems.filter((e) => (!kind || e.kind === kind) && (!text || (e.text || "").toLowerCase().includes(text)));
  document.getElementById("events").replaceChildren(...shown.slice().reverse().map((e) => UPS.el("li", {}, e.time + " " + (e.kind || "") + ": " + (e.text || ""))));
}

async function send(method, path, body, question) {
  if (!confirm(question)) return;
  const r = await UPS.request(method, path, body);
  document.getElementById("commandResult").textContent = r.ok ? "Sent: " + (r.data.command || r.data.setting || "FSD") + " (queued)" : "Refused: " + (r.data.error || r.status) + (r.data.min != null ? " (range " + r.data.min + "–" + r.data.max + ")" : "");
}

// The rows are made once: a data report comes every polling interval and must
// not take away a value being typed or the focus; it updates the current values,
// and an input the user has not touched.
const settingRows = new Map();
function showSettings(values) {
  const body = document.querySelector("#settings tbody");
  if (!settingRows.size) body.replaceChildren(...catalogue.settings.map((s) => {
    const input = s.options ? UPS.el("select", { "aria-label": s.label }, ...s.options.map((o) => UPS.el("option", { value: o }, o)))
                            : UPS.el("input", { type: "number", step: "any", "aria-label": s.label, min: s.min, max: s.max });
    input.addEventListener("input", () => { input.dataset.edited = "1"; });
    const current = UPS.el("td", {});
    const range = s.options ? s.options.join(", ") : s.min != null ? s.min + " – " + s.max : "";
    settingRows.set(s.name, { input, current });
    return UPS.el("tr", {}, UPS.el("td", {}, s.label), current, UPS.el("td", {}, range),
      UPS.el("td", {}, input, UPS.el("button", { onclick: () => send("PUT", base + "/settings/" + encodeURIComponent(s.name), { value: s.options ? input.value : Number(input.value) }, "Set " + s.label + " of " + unit + " to " + input.value + "?") }, "Set")));
  }));
  for (const [name, { input, current }] of settingRows) {
    current.textContent = values[name] == null ? "–" : String(values[name]);
    if (values[name] != null && !input.dataset.edited) input.value = values[name];
  }
}

UPS.start(async () => {
  const c = await UPS.request("GET", "/api/catalogue");
  if (c.ok) {
    catalogue = c.data;
    document.getElementById("commands").replaceChildren(...catalogue.commands.map((cmd) => UPS.el("button", { title: cmd.description, onclick: () => {
      let body;
      if (cmd.argument === "minutes") { const m = prompt("Minutes for " + cmd.description, "1"); if (m === null) return; body = { value: m }; }
      send("POST", base + "/commands/" + encodeURIComponent(cmd.name), body, cmd.description + " on " + unit + "?");
    } }, cmd.description),
    UPS.el("button", { title: "Sets FSD for the NUT clients of this unit: their upsmon shuts their computers down", onclick: () =>
      send("POST", base + "/fsd", undefined, "Forced shutdown: every NUT client of " + unit + " shuts its computer down. Go on?") }, "Forced shutdown (FSD)")));
  }
  document.getElementById("eventKind").addEventListener("change", filterEvents);
  document.getElementById("eventText").addEventListener("input", filterEvents);
  await refresh();
  const ev = await UPS.request("GET", base + "/events?since=0");
  if (ev.ok) addEvents(ev.data.events);
  UPS.live({ status: (u) => { if (u.name === unit) refreshSoon(); }, event: (e) => { if (e.unit === unit) addEvents([e]); } });
});
