// SPDX-License-Identifier: MIT
"use strict";
// The diagnostic page: the device's facts once, its state as a stream, and the controls,
// which the server accepts only with the token from the page's address.

const token = new URLSearchParams(location.search).get("token") || "";
const $ = id => document.getElementById(id);
let state = null, arm = null, control = false;
// The library reports velocity in millimetres per the device's velocity period; with the
// device's unit of 1/128 turn per second that is mm/s = -(resolution / 128) x reported
// (docs/frame.md). Until the facts arrive the factor is unknown and the velocity not shown.
let mmPerSecond = NaN;
const velocityMmS = v => v ? v.map(x => (x === null ? null : x * mmPerSecond)) : v;
const charts = {
  position: new StripChart($("chart-position")),
  velocity: new StripChart($("chart-velocity")),
  force: new StripChart($("chart-force")),
};

function fixed(v, digits) { return Number.isFinite(v) ? v.toFixed(digits) : "-"; }
function triple(v, digits) { return v ? v.map(x => fixed(x, digits).padStart(9)).join(" ") : "-"; }
function escape(text) {
  return String(text).replace(/[&<>"]/g, c => ({ "&": "&amp;", "<": "&lt;", ">": "&gt;", '"': "&quot;" })[c]);
}
function rows(table, header, lines) {
  $(table).innerHTML = (header ? "<tr>" + header.map(h => `<th>${h}</th>`).join("") + "</tr>" : "") +
    lines.map(l => "<tr>" + l.map((c, i) => `<td${i && typeof c === "number" ? ' class="num"' : ""}>${escape(c)}</td>`).join("") + "</tr>").join("");
}

async function showFacts() {
  const info = await (await fetch("api/info")).json();
  if (info.resolution > 0) mmPerSecond = -info.resolution / 128;
  $("title").textContent = `${info.name} · serial ${info.serial} · type ${info.type}`;
  document.title = `${info.name} · qel-tool serve`;
  rows("identity", null, [["node", info.node], ["serial number", info.serial], ["device type", info.type],
    ["operation mode", info.mode], ["velocity threshold", info.velocityThreshold],
    ["encoder resolution", info.resolution],
    ...(info.model && info.model.known ? [
      ["actuated link", `${info.model.actuatedLink} mm`], ["passive link", `${info.model.passiveLink} mm`],
      ["fixed platform", `${info.model.fixedPlatform} mm`], ["moving platform", `${info.model.movingPlatform} mm`],
      ["arm joint range", `${info.model.deltaRange} deg from ${info.model.defaultAngle[0]} deg`]]
      : [["geometry", info.modelError || "none for this type"]])]);
  rows("registers", ["register", "name", "hex", "value"], info.registers.map(r => [r.numbers, r.name, r.hex, r.value]));
  rows("calibration", ["axis", "lower", "upper", "span", "degrees"],
    info.calibration.map(c => [c.axis, c.lower, c.upper, c.span, c.degrees.toFixed(2)]));
  if (info.model && info.model.known) arm = new ArmView($("arm"), info.model);
  if (!arm || !arm.ok) $("readout").textContent = "no 3D view: " + (arm ? "WebGL is not available" : "no geometry");
}

async function checkAccess() {
  const reply = await (await fetch("api/access", { headers: { "X-QEL-Token": token } })).json();
  control = reply.control;
  $("access").textContent = control ? "controls enabled" : "read-only";
  $("access").classList.toggle("on", control);
  $("controls-note").hidden = control;
  document.querySelectorAll("[data-control]").forEach(e => { e.disabled = !control; });
}

// The table is built once and its cells rewritten, so that what it shows stays put.
const stateRows = [["position", "position mm"], ["velocity", "velocity mm/s"], ["force", "force N"],
  ["test-force", "test force N"], ["buttons", "buttons 0-7"], ["output", "force output"],
  ["drives", "drives"], ["led", "LED (drives)"], ["gravity", "gravity comp."],
  ["calibrated", "calibration"]];
$("state").innerHTML = stateRows.map(([id, label]) =>
  `<tr><th>${label}</th><td><span class="dot" id="${id}-dot"></span><span id="${id}"></span></td></tr>`).join("");

function setRow(id, text, on, warn) {
  $(id).textContent = text;
  const d = $(id + "-dot");
  d.hidden = on === undefined;
  d.className = `dot ${on ? "on" : warn ? "warn" : ""}`;
}

function showState(s) {
  setRow("position", triple(s.position, 2));
  setRow("velocity", triple(velocityMmS(s.velocity), 1));
  setRow("force", triple(s.force, 3));
  setRow("test-force", triple(s.testForce, 3));
  const b = [];
  for (let k = 0; k < 8; ++k) b.push(s.buttons & (1 << k) ? "●" : "○");
  setRow("buttons", b.join(" "));
  setRow("output", s.output ? "on" : "off", s.output);
  setRow("drives", s.drives ? "on" : s.output ? "off: cut by the library (speed limit)" : "off",
    s.drives, s.output && !s.drives);
  setRow("led", s.led ? "lit" : "dark", s.led);
  setRow("gravity", s.gravity ? "on" : "off", s.gravity);
  setRow("calibrated", s.calibrated ? "loaded" : "not loaded", s.calibrated, !s.calibrated);
  $("rate").textContent = s.loopRate > 0 ? `loop ${s.loopRate.toFixed(0)} Hz` : "loop rate: counting";
  $("rate").classList.toggle("on", s.loopRate > 500);
  const errors = s.errors.length
    ? s.errors.map(e => `<li>${escape(e.t.toFixed(1))} s: ${escape(e.message)}</li>`).join("")
    : '<li class="none">none</li>';
  if ($("errors").innerHTML !== errors) $("errors").innerHTML = errors;
}

function listen() {
  const events = new EventSource("api/events");
  events.onopen = () => { $("link").textContent = "live"; $("link").className = "badge on"; };
  events.onerror = () => { $("link").textContent = "connection lost, retrying"; $("link").className = "badge bad"; };
  let shown = 0;
  events.onmessage = message => {
    state = JSON.parse(message.data);
    charts.position.add(state.t, state.position);
    charts.velocity.add(state.t, velocityMmS(state.velocity));
    charts.force.add(state.t, state.force);
    if (state.t - shown > 0.1) { showState(state); shown = state.t; } // tables at 10 Hz
  };
}

// The 3D view and the charts are redrawn at most 30 times a second: smooth enough, and half
// the drawing of a 60 Hz screen on a machine that renders in software.
let drawn = 0;
function frame(time) {
  requestAnimationFrame(frame);
  if (time - drawn < 30) return;
  drawn = time;
  if (state && arm) {
    arm.update(state);
    if (state.position)
      $("readout").textContent = `x ${fixed(state.position[0], 1)}  y ${fixed(state.position[1], 1)}  z ${fixed(state.position[2], 1)} mm`;
  }
  if (arm) arm.render();
  for (const c of Object.values(charts)) c.draw();
}

async function post(path, fields) {
  const reply = await fetch(path, {
    method: "POST",
    headers: { "X-QEL-Token": token, "Content-Type": "application/x-www-form-urlencoded" },
    body: new URLSearchParams(fields).toString(),
  });
  const result = await reply.json();
  $("control-result").textContent = result.ok ? "" : result.error;
  return result.ok;
}

// A test force lasts only while the page renews it: the server drops it when the page goes.
let renewal = null;
function testForce() {
  const v = ["fx", "fy", "fz"].map(id => Math.max(-2, Math.min(2, Number($(id).value) || 0)));
  return { x: v[0], y: v[1], z: v[2] };
}
function applyForce() {
  clearInterval(renewal);
  post("api/force", testForce());
  renewal = setInterval(() => post("api/force", testForce()), 200);
}
function stopForce() {
  clearInterval(renewal);
  renewal = null;
  post("api/force", { x: 0, y: 0, z: 0 });
}

function wireControls() {
  $("output-on").onclick = () => post("api/output", { on: 1 });
  $("output-off").onclick = () => { clearInterval(renewal); post("api/output", { on: 0 }); };
  $("gravity-on").onclick = () => post("api/gravity", { on: 1 });
  $("gravity-off").onclick = () => post("api/gravity", { on: 0 });
  $("force-apply").onclick = applyForce;
  $("force-stop").onclick = stopForce;
  $("calibrate").onclick = () => post("api/calibrate", {});
}

wireControls();
document.querySelectorAll("[data-control]").forEach(e => { e.disabled = true; });
Promise.all([showFacts(), checkAccess()]).then(() => { listen(); requestAnimationFrame(frame); });
