"use strict";
const cards = new Map();

function card(u) {
  const [level, words] = UPS.stateWords(u);
  const c = UPS.el("article", { class: "card " + level },
    UPS.el("h2", {}, UPS.el("a", { href: "/unit?unit=" + encodeURIComponent(u.name) }, u.name)),
    UPS.el("div", { class: "note" }, u.description),
    UPS.el("p", { class: "state" }, words),
    UPS.el("dl", {},
      UPS.el("dt", {}, "Status"), UPS.el("dd", {}, u.status || "–"),
      UPS.el("dt", {}, "Load"), UPS.el("dd", {}, UPS.num(u.load, " %")),
      UPS.el("dt", {}, "Battery"), UPS.el("dd", {}, UPS.num(u.batteryCharge, " %") + ", " + UPS.num(u.batteryRuntime == null ? null : u.batteryRuntime / 60, " min")),
      UPS.el("dt", {}, "Input / output"), UPS.el("dd", {}, UPS.num(u.inputVoltage, " V") + " / " + UPS.num(u.outputVoltage, " V")),
      UPS.el("dt", {}, "Data age"), UPS.el("dd", {}, u.dataAge == null ? "no data yet" : UPS.num(u.dataAge, " s"))));
  return c;
}

function show(u) {
  const next = card(u);
  const old = cards.get(u.name);
  if (old) old.replaceWith(next); else document.getElementById("units").append(next);
  cards.set(u.name, next);
}

UPS.start(async () => {
  const r = await UPS.request("GET", "/api/units");
  if (!r.ok) { document.getElementById("live").textContent = r.data.error || "cannot read the units"; return; }
  r.data.units.forEach(show);
  UPS.live({ status: show });
});
