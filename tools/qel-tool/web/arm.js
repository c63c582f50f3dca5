// SPDX-License-Identifier: MIT
"use strict";
// The arm in 3D, drawn from the device type's geometry: the fixed platform with the three
// shoulders, each arm's upper (actuated) and lower (passive) link, the moving platform, the
// handle with its wrist frame, the commanded force as an arrow and the outline of the
// workspace that the arm joints' range reaches. Device coordinates in millimetres, z up.

const ArmGeometry = {
  // Arm i stands at this azimuth about the vertical axis.
  azimuth(i) { return (4 * i + 3) * Math.PI / 6; },

  // The three elbows for joint angles q (radians) in the frame where each lower link ends at
  // the handle itself: the moving platform's offset is folded into the shoulders.
  reducedElbows(m, q) {
    const d = m.fixedPlatform - m.movingPlatform;
    return q.map((t, i) => {
      const D = m.actuatedLink * Math.sin(t) + d, phi = this.azimuth(i);
      return new THREE.Vector3(D * Math.cos(phi), D * Math.sin(phi), m.actuatedLink * Math.cos(t));
    });
  },

  // The handle's position for joint angles q: the upper one of the two points at the lower
  // link's length from all three reduced elbows; null where the links cannot meet.
  forward(m, q) {
    const [c1, c2, c3] = this.reducedElbows(m, q), b = m.passiveLink;
    const ex = c2.clone().sub(c1), dist = ex.length();
    ex.divideScalar(dist);
    const c31 = c3.clone().sub(c1), i = ex.dot(c31);
    const ey = c31.clone().addScaledVector(ex, -i);
    const j = ey.length();
    ey.divideScalar(j);
    const ez = new THREE.Vector3().crossVectors(ex, ey);
    const x = dist / 2, y = (i * i + j * j) / (2 * j) - (i / j) * x;
    const z2 = b * b - x * x - y * y;
    if (!(z2 >= 0)) return null;
    const z = Math.sqrt(z2), base = c1.clone().addScaledVector(ex, x).addScaledVector(ey, y);
    const p1 = base.clone().addScaledVector(ez, z), p2 = base.clone().addScaledVector(ez, -z);
    return p1.z > p2.z ? p1 : p2;
  },

  // The joint range of the arm in radians: from the default angle down by the range.
  jointRange(m) {
    const top = m.defaultAngle[0] * Math.PI / 180;
    return [top - m.deltaRange * Math.PI / 180, top];
  },
};

class ArmView {
  constructor(canvas, model) {
    this.canvas = canvas;
    this.model = model;
    this.ok = false;
    try {
      this.renderer = new THREE.WebGLRenderer({ canvas, antialias: true });
    } catch (e) {
      return; // no WebGL here: the page goes on without the 3D view
    }
    this.ok = true;
    this.renderer.setPixelRatio(window.devicePixelRatio || 1);
    this.scene = new THREE.Scene();
    this.scene.background = new THREE.Color(0x0e1014);
    this.camera = new THREE.PerspectiveCamera(40, 1, 1, 5000);
    this.camera.up.set(0, 0, 1);
    this.camera.position.set(380, -330, 330);
    this.controls = new THREE.OrbitControls(this.camera, canvas);
    this.controls.target.set(0, 0, 135);
    this.controls.update();
    this.scene.add(new THREE.AmbientLight(0xffffff, 0.45));
    const sun = new THREE.DirectionalLight(0xffffff, 0.8);
    sun.position.set(300, -200, 600);
    this.scene.add(sun);
    const grid = new THREE.PolarGridHelper(160, 12, 6, 48, 0x30363f, 0x262b33);
    grid.rotation.x = Math.PI / 2;
    this.scene.add(grid);
    this.build();
    window.addEventListener("resize", () => this.resize());
    this.resize();
  }

  material(color) { return new THREE.MeshPhongMaterial({ color, shininess: 40 }); }

  // A cylinder of the given radius that links() stretches between two points.
  rod(radius, color) {
    const mesh = new THREE.Mesh(new THREE.CylinderGeometry(radius, radius, 1, 16), this.material(color));
    this.scene.add(mesh);
    return mesh;
  }

  link(mesh, from, to) {
    const dir = to.clone().sub(from), length = dir.length();
    mesh.position.copy(from).addScaledVector(dir, 0.5);
    mesh.scale.set(1, Math.max(length, 1e-6), 1);
    if (length > 0) mesh.quaternion.setFromUnitVectors(new THREE.Vector3(0, 1, 0), dir.divideScalar(length));
  }

  build() {
    const m = this.model;
    const R = m.fixedPlatform, r = m.movingPlatform;
    this.u = [0, 1, 2].map(i => new THREE.Vector3(Math.cos(ArmGeometry.azimuth(i)), Math.sin(ArmGeometry.azimuth(i)), 0));
    // Fixed platform: a plate through the shoulders, and a motor at each shoulder.
    const plate = new THREE.Mesh(new THREE.CylinderGeometry(R * 1.15, R * 1.15, 8, 3), this.material(0x3a4250));
    plate.rotation.x = Math.PI / 2;
    plate.rotation.y = Math.PI / 2;
    plate.position.z = -6;
    this.scene.add(plate);
    this.shoulders = this.u.map(u => u.clone().multiplyScalar(R));
    this.shoulders.forEach((s, i) => {
      const motor = new THREE.Mesh(new THREE.CylinderGeometry(14, 14, 34, 20), this.material(0x59626f));
      motor.position.copy(s);
      motor.quaternion.setFromUnitVectors(new THREE.Vector3(0, 1, 0),
        new THREE.Vector3(-this.u[i].y, this.u[i].x, 0));
      this.scene.add(motor);
    });
    this.upper = [0, 1, 2].map(() => this.rod(5, 0x4f8fdc));
    this.lower = [0, 1, 2].map(() => [this.rod(2.5, 0xc8ced8), this.rod(2.5, 0xc8ced8)]);
    this.elbowBalls = [0, 1, 2].map(() => {
      const s = new THREE.Mesh(new THREE.SphereGeometry(6, 16, 12), this.material(0x4f8fdc));
      this.scene.add(s);
      return s;
    });
    const tri = new THREE.Mesh(new THREE.CylinderGeometry(r * 1.1, r * 1.1, 6, 3), this.material(0x7d8796));
    tri.rotation.x = Math.PI / 2;
    tri.rotation.y = Math.PI / 2;
    this.platform = tri;
    this.scene.add(tri);
    // The handle and its wrist frame turn together.
    this.wrist = new THREE.Group();
    // The grip along the frame's x axis, so that it hides neither the force arrow nor z.
    const grip = new THREE.Mesh(new THREE.CylinderGeometry(7, 9, 70, 20), this.material(0xd7a640));
    grip.rotation.z = -Math.PI / 2;
    grip.position.x = 45;
    this.wrist.add(grip);
    this.wrist.add(new THREE.AxesHelper(55));
    this.scene.add(this.wrist);
    // The force: a shaft and a head, 50 mm per newton beyond a 30 mm stub.
    this.arrowShaft = this.rod(2.5, 0xff4040);
    this.arrowHead = new THREE.Mesh(new THREE.ConeGeometry(7, 18, 20), this.material(0xff4040));
    this.scene.add(this.arrowHead);
    this.scene.add(this.workspaceOutline());
  }

  // Lines over the faces of the joint-range box, mapped through the forward kinematics.
  workspaceOutline() {
    const m = this.model, [lo, hi] = ArmGeometry.jointRange(m), points = [];
    const steps = 28, lines = 6;
    for (let fixed = 0; fixed < 3; ++fixed) {
      for (const end of [lo, hi]) {
        for (let k = 0; k <= lines; ++k) {
          for (const along of [0, 1]) {
            let prev = null;
            for (let s = 0; s <= steps; ++s) {
              const q = [0, 0, 0], others = [0, 1, 2].filter(x => x !== fixed);
              q[fixed] = end;
              q[others[along]] = lo + (hi - lo) * s / steps;
              q[others[1 - along]] = lo + (hi - lo) * k / lines;
              const p = ArmGeometry.forward(m, q);
              if (p && prev) points.push(prev, p);
              prev = p;
            }
          }
        }
      }
    }
    const geometry = new THREE.BufferGeometry().setFromPoints(points);
    return new THREE.LineSegments(geometry, new THREE.LineBasicMaterial({ color: 0x3d6f5a, transparent: true, opacity: 0.55 }));
  }

  resize() {
    const w = this.canvas.clientWidth, h = this.canvas.clientHeight;
    if (!w || !h) return;
    this.renderer.setSize(w, h, false);
    this.camera.aspect = w / h;
    this.camera.updateProjectionMatrix();
  }

  update(state) {
    if (!this.ok || !state.position) return;
    const m = this.model, p = new THREE.Vector3(...state.position);
    state.joints.forEach((t, i) => {
      const elbow = this.shoulders[i].clone().addScaledVector(this.u[i], m.actuatedLink * Math.sin(t));
      elbow.z += m.actuatedLink * Math.cos(t);
      this.link(this.upper[i], this.shoulders[i], elbow);
      this.elbowBalls[i].position.copy(elbow);
      // The lower link is a parallelogram of two rods, as on the real arm.
      const end = p.clone().addScaledVector(this.u[i], m.movingPlatform);
      const side = new THREE.Vector3(-this.u[i].y, this.u[i].x, 0).multiplyScalar(9);
      this.link(this.lower[i][0], elbow.clone().add(side), end.clone().add(side));
      this.link(this.lower[i][1], elbow.clone().sub(side), end.clone().sub(side));
    });
    this.platform.position.copy(p);
    this.wrist.position.copy(p);
    const f = state.frame;
    if (f && (f[0] || f[4] || f[8])) {
      const rot = new THREE.Matrix4().set(f[0], f[1], f[2], 0, f[3], f[4], f[5], 0, f[6], f[7], f[8], 0, 0, 0, 0, 1);
      this.wrist.quaternion.setFromRotationMatrix(rot);
    }
    const force = new THREE.Vector3(...state.force), size = force.length();
    const visible = size > 1e-3;
    this.arrowShaft.visible = this.arrowHead.visible = visible;
    if (visible) {
      const dir = force.divideScalar(size), length = 30 + 50 * size;
      const neck = p.clone().addScaledVector(dir, length - 18);
      this.link(this.arrowShaft, p, neck);
      this.arrowHead.position.copy(neck).addScaledVector(dir, 9);
      this.arrowHead.quaternion.setFromUnitVectors(new THREE.Vector3(0, 1, 0), dir);
    }
  }

  render() {
    if (this.ok) this.renderer.render(this.scene, this.camera);
  }
}
