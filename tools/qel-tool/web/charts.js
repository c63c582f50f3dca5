// SPDX-License-Identifier: MIT
"use strict";
// Strip charts of three series (x, y, z) over the last ten seconds, scaled to what they show.

class StripChart {
  constructor(canvas, span = 10) {
    this.canvas = canvas;
    this.title = canvas.dataset.title;
    this.span = span;
    this.samples = []; // [t, x, y, z]
    this.colors = ["#e5534b", "#3ecf6e", "#4f8fdc"];
  }

  add(t, values) {
    if (!values) return;
    this.samples.push([t, ...values]);
    while (this.samples.length && this.samples[0][0] < t - this.span) this.samples.shift();
  }

  draw() {
    const c = this.canvas, ratio = window.devicePixelRatio || 1;
    const w = c.clientWidth * ratio, h = c.clientHeight * ratio;
    if (c.width !== w || c.height !== h) { c.width = w; c.height = h; }
    const g = c.getContext("2d");
    g.clearRect(0, 0, w, h);
    g.font = `${11 * ratio}px monospace`;
    g.fillStyle = "#8a93a3";
    g.fillText(`${this.title}, last ${this.span} s`, 6 * ratio, 13 * ratio);
    if (this.samples.length < 2) return;
    const end = this.samples[this.samples.length - 1][0];
    let lo = Infinity, hi = -Infinity;
    for (const s of this.samples)
      for (let k = 1; k <= 3; ++k)
        if (Number.isFinite(s[k])) { lo = Math.min(lo, s[k]); hi = Math.max(hi, s[k]); }
    if (!Number.isFinite(lo)) return;
    const pad = Math.max((hi - lo) * 0.1, 0.5);
    lo -= pad; hi += pad;
    const top = 20 * ratio, bottom = h - 6 * ratio, left = 6 * ratio, right = w - 52 * ratio;
    const x = t => right - (end - t) / this.span * (right - left);
    const y = v => bottom - (v - lo) / (hi - lo) * (bottom - top);
    g.fillText(hi.toPrecision(4), right + 4 * ratio, top + 8 * ratio);
    g.fillText(lo.toPrecision(4), right + 4 * ratio, bottom);
    g.lineWidth = 1.5 * ratio;
    for (let k = 1; k <= 3; ++k) {
      g.strokeStyle = this.colors[k - 1];
      g.beginPath();
      let drawing = false;
      for (const s of this.samples) {
        if (!Number.isFinite(s[k])) { drawing = false; continue; }
        if (drawing) g.lineTo(x(s[0]), y(s[k])); else g.moveTo(x(s[0]), y(s[k]));
        drawing = true;
      }
      g.stroke();
      g.fillStyle = this.colors[k - 1];
      g.fillText("xyz"[k - 1], right + 4 * ratio + (k - 1) * 12 * ratio, (top + bottom) / 2);
    }
  }
}
