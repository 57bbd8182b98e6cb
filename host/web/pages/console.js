// Shared by the pages: the session (login form, CSRF token), JSON requests,
// the live stream, and small DOM helpers.
"use strict";
const UPS = { session: { user: null }, onLogin: [] };

UPS.el = function (tag, attrs, ...children) {
  const e = document.createElement(tag);
  for (const [k, v] of Object.entries(attrs || {})) {
    if (k === "class") e.className = v; else if (k.startsWith("on")) e.addEventListener(k.slice(2), v); else e.setAttribute(k, v);
  }
  for (const c of children) e.append(c instanceof Node ? c : document.createTextNode(c == null ? "" : String(c)));
  return e;
};

UPS.request = async function (method, path, body) {
  const headers = {};
  if (body !== undefined) headers["Content-Type"] = "application/json";
  if (UPS.session.csrfToken) headers["X-CSRF-Token"] = UPS.session.csrfToken;
  const r = await fetch(path, { method, headers, body: body === undefined ? undefined : JSON.stringify(body), credentials: "same-origin" });
  let data = null;
  try { data = await r.json(); } catch (e) { data = {}; }
  return { status: r.status, ok: r.ok, data };
};

// Words for a unit's state, so that nothing depends on colour alone.
UPS.stateWords = function (u) {
  if (u.comm === "lost") return ["bad", "No communication"];
  if (u.comm === "unknown") return ["warn", "Not heard yet"];
  const f = (u.status || "").split(" ");
  const words = [];
  if (f.includes("OB")) words.push("On battery"); else if (f.includes("BYPASS")) words.push("On bypass"); else if (f.includes("OL")) words.push("Online");
  if (f.includes("LB")) words.push("battery low");
  if (f.includes("OFF")) words.push("output off");
  if (f.includes("OVER")) words.push("overload");
  if (f.includes("FSD")) words.push("forced shutdown");
  if (u.stale) words.push("data stale");
  if (u.alarms > 0) words.push(u.alarms + " alarm" + (u.alarms > 1 ? "s" : ""));
  const bad = f.includes("LB") || f.includes("FSD") || f.includes("OVER") || u.stale;
  const warn = f.includes("OB") || f.includes("BYPASS") || u.alarms > 0;
  return [bad ? "bad" : warn ? "warn" : "ok", words.join(", ") || "Unknown"];
};

UPS.num = function (v, unit) { return v == null ? "–" : (Math.round(v * 10) / 10) + (unit || ""); };

UPS.renderSession = function () {
  const box = document.getElementById("session");
  box.replaceChildren();
  if (UPS.session.user) {
    box.append("Logged in as " + UPS.session.user + " ",
      UPS.el("button", { onclick: async () => { await UPS.request("POST", "/api/logout"); UPS.session = { user: null }; UPS.renderSession(); } }, "Log out"));
  } else {
    const user = UPS.el("input", { name: "user", placeholder: "user", autocomplete: "username", "aria-label": "user" });
    const pass = UPS.el("input", { name: "password", type: "password", placeholder: "password", autocomplete: "current-password", "aria-label": "password" });
    const msg = UPS.el("span", { role: "alert" });
    const form = UPS.el("form", { class: "login" }, user, pass, UPS.el("button", { type: "submit" }, "Log in"), msg);
    form.addEventListener("submit", async (ev) => {
      ev.preventDefault();
      const r = await UPS.request("POST", "/api/login", { user: user.value, password: pass.value });
      if (r.ok) { UPS.session = r.data; UPS.renderSession(); UPS.onLogin.forEach((f) => f()); } else msg.textContent = r.data.error || ("error " + r.status);
    });
    box.append(form);
  }
};

UPS.live = function (handlers) {
  const status = document.getElementById("live");
  const source = new EventSource("/api/events");
  source.onopen = () => { status.textContent = "Live"; };
  source.onerror = () => { status.textContent = "Live updates interrupted; reconnecting…"; };
  for (const [name, f] of Object.entries(handlers)) source.addEventListener(name, (e) => f(JSON.parse(e.data)));
};

UPS.start = async function (then) {
  try {
    const r = await UPS.request("GET", "/api/session");
    UPS.session = r.data;
    UPS.renderSession();
    await then();
  } catch (e) {
    document.getElementById("live").textContent = "Page error: " + e;
  }
};

// A failure of the page itself is said where the live state is shown.
window.addEventListener("error", (e) => { document.getElementById("live").textContent = "Page error: " + e.message; });
window.addEventListener("unhandledrejection", (e) => { document.getElementById("live").textContent = "Page error: " + e.reason; });
