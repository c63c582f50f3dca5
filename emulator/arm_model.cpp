// SPDX-License-Identifier: MIT
#include "arm_model.h"

#include <cmath>
#include <utility>

namespace qelemu {

namespace {

// The device's firmware and its driver both work with this eight-digit pi; the emulated arm
// uses it for the arm azimuths and degree conversions so that its poses and the driver's
// kinematics agree to rounding, not just to 1e-7.
constexpr double kPi = 3.1415926;
constexpr double kTrueTwoPi = 6.283185307179586;

// The physics runs in kg, mm and s, so one internal force unit is 1e-3 N, one torque unit
// 1e-3 N*mm and one energy unit 1e-6 J.
constexpr double kPerNewton = 1000.0;
constexpr double kJoulePerUnit = 1e-6;
constexpr double kGravity = 9800.0; // mm/s^2
constexpr double kMaxSubStep = 0.25e-3;
// The hand's damping is set near critical for about a kilogram at the handle.
constexpr double kHandMass = 1.0;
constexpr double kHandDampingRatio = 0.7;
// The spring reaches its initial length at 149 degrees (written with the eight-digit pi).
constexpr double kSpringRestAngle = 2.600540541111111;

double dot(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

void cross(const double a[3], const double b[3], double out[3]) {
    out[0] = a[1] * b[2] - a[2] * b[1];
    out[1] = a[2] * b[0] - a[0] * b[2];
    out[2] = a[0] * b[1] - a[1] * b[0];
}

// Inverse of a 3x3 matrix by cofactors; false when it is (numerically) singular.
bool invert3(const double m[3][3], double inv[3][3]) {
    double c00 = m[1][1] * m[2][2] - m[1][2] * m[2][1];
    double c01 = m[1][2] * m[2][0] - m[1][0] * m[2][2];
    double c02 = m[1][0] * m[2][1] - m[1][1] * m[2][0];
    double det = m[0][0] * c00 + m[0][1] * c01 + m[0][2] * c02;
    double scale = std::fabs(m[0][0]) + std::fabs(m[0][1]) + std::fabs(m[0][2]) +
                   std::fabs(m[1][0]) + std::fabs(m[1][1]) + std::fabs(m[1][2]) +
                   std::fabs(m[2][0]) + std::fabs(m[2][1]) + std::fabs(m[2][2]);
    if (!(std::fabs(det) > 1e-12 * scale * scale * scale)) return false;
    double r = 1.0 / det;
    inv[0][0] = c00 * r;
    inv[1][0] = c01 * r;
    inv[2][0] = c02 * r;
    inv[0][1] = (m[0][2] * m[2][1] - m[0][1] * m[2][2]) * r;
    inv[1][1] = (m[0][0] * m[2][2] - m[0][2] * m[2][0]) * r;
    inv[2][1] = (m[0][1] * m[2][0] - m[0][0] * m[2][1]) * r;
    inv[0][2] = (m[0][1] * m[1][2] - m[0][2] * m[1][1]) * r;
    inv[1][2] = (m[0][2] * m[1][0] - m[0][0] * m[1][2]) * r;
    inv[2][2] = (m[0][0] * m[1][1] - m[0][1] * m[1][0]) * r;
    return true;
}

double wrapAngle(double a) {
    while (a > kTrueTwoPi / 2) a -= kTrueTwoPi;
    while (a <= -kTrueTwoPi / 2) a += kTrueTwoPi;
    return a;
}

} // namespace

ArmGeometry ArmGeometry::forType(int type, double springInitLen, double springInitForce) {
    ArmGeometry g;
    const double wristDef[3] = {120.0, 45.0, 167.5};
    for (int i = 0; i < 3; ++i) g.defAngDeg[3 + i] = wristDef[i];
    if (type == 2) {
        g.actLink = 70.0;
        g.passLink = 146.0;
        g.fixedPlat = 75.0;
        g.floatPlat = 35.0;
        g.actLinkGrav = 14.382;
        g.massPlatform = 0.475;
        g.massActLink = 0.099;
        g.massPassLink = 0.0934;
        g.beta = 0.9454448396777778;
        g.lambda = 0.5235987666666666;
        for (int i = 0; i < 3; ++i) {
            g.transRatio[i] = 11.89;
            g.defAngDeg[i] = 149.0;
        }
        g.deltaRangeDeg = 149.0;
        g.spring = true;
        g.springRadius = 13.5;
        g.springK = 0.74;
        g.springInitLen = springInitLen;
        g.springInitForce = springInitForce;
    } else {
        g.actLink = 97.0;
        g.passLink = 148.0;
        g.fixedPlat = 80.25;
        g.floatPlat = 35.0;
        g.actLinkGrav = 15.282;
        g.massPlatform = 0.4;
        g.massActLink = 0.1397;
        g.massPassLink = 0.08934;
        g.beta = 1.5707963;
        g.lambda = 0.0;
        for (int i = 0; i < 3; ++i) {
            g.transRatio[i] = 20.0;
            g.defAngDeg[i] = 86.5;
        }
        g.deltaRangeDeg = 88.0;
    }
    return g;
}

double ArmGeometry::jointMinRad() const { return (defAngDeg[0] - deltaRangeDeg) * kPi / 180.0; }
double ArmGeometry::jointMaxRad() const { return defAngDeg[0] * kPi / 180.0; }

ArmModel::ArmModel(const ArmGeometry& geometry) : g_(geometry) {
    for (int i = 0; i < 3; ++i) {
        double phi = (4 * i + 3) * kPi / 6;
        cosPhi_[i] = std::cos(phi);
        sinPhi_[i] = std::sin(phi);
    }
    d_ = g_.fixedPlat - g_.floatPlat;
    qMin_ = g_.jointMinRad();
    qMax_ = g_.jointMaxRad();
    const double a = g_.actLink;
    linkInertia_ = g_.massActLink * (a * a / 12.0 + g_.actLinkGrav * g_.actLinkGrav);
    elbowMass_ = 0.5 * g_.massPassLink;
    platformMass_ = g_.massPlatform + 1.5 * g_.massPassLink;
    for (int i = 0; i < 6; ++i) q_[i] = i < 3 ? 0.5 * (qMin_ + qMax_) : 0.0;
    beginPoseHistory();
}

const ArmGeometry& ArmModel::geometry() const { return g_; }

void ArmModel::beginPoseHistory() {
    for (int i = 0; i < 6; ++i) {
        prevPose_[i] = q_[i];
        poseVel_[i] = 0;
    }
    interval_ = 0;
    sinceSet_ = 0;
}

bool ArmModel::elbows(const double q[3], Kin& k) const {
    const double a = g_.actLink;
    for (int i = 0; i < 3; ++i) {
        double s = std::sin(q[i]), c = std::cos(q[i]);
        double D = a * s + d_;
        k.c[i][0] = D * cosPhi_[i];
        k.c[i][1] = D * sinPhi_[i];
        k.c[i][2] = a * c;
        k.dc[i][0] = a * c * cosPhi_[i];
        k.dc[i][1] = a * c * sinPhi_[i];
        k.dc[i][2] = -a * s;
    }
    // The handle is where the three spheres of radius b about the elbows meet. Two pairwise
    // differences give a line; the sphere about c0 cuts it twice, and the handle is the point
    // with the larger z (the other lies below the base, where the arm cannot go).
    double ex[3], v2[3];
    for (int j = 0; j < 3; ++j) {
        ex[j] = k.c[1][j] - k.c[0][j];
        v2[j] = k.c[2][j] - k.c[0][j];
    }
    double d01 = std::sqrt(dot(ex, ex));
    if (!(d01 > 1e-9)) return false;
    for (double& e : ex) e /= d01;
    double i2 = dot(ex, v2);
    double ey[3] = {v2[0] - i2 * ex[0], v2[1] - i2 * ex[1], v2[2] - i2 * ex[2]};
    double j2 = std::sqrt(dot(ey, ey));
    if (!(j2 > 1e-9)) return false;
    for (double& e : ey) e /= j2;
    double ez[3];
    cross(ex, ey, ez);
    double x = 0.5 * d01;
    double y = (i2 * i2 + j2 * j2 - 2 * i2 * x) / (2 * j2);
    double zz = g_.passLink * g_.passLink - x * x - y * y;
    if (!(zz >= 0)) return false;
    double z = std::sqrt(zz);
    if (ez[2] < 0) z = -z;
    for (int j = 0; j < 3; ++j) k.p[j] = k.c[0][j] + x * ex[j] + y * ey[j] + z * ez[j];
    return true;
}

bool ArmModel::kinematics(const double q[3], Kin& k) const {
    if (!elbows(q, k)) return false;
    // Differentiating |p - c_i|^2 = b^2 gives (p - c_i) . dp = (p - c_i) . dc_i dq_i, that is
    // A dp = B dq with A's rows p - c_i and B diagonal.
    double A[3][3], B[3];
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) A[i][j] = k.p[j] - k.c[i][j];
        B[i] = dot(A[i], k.dc[i]);
    }
    if (!invert3(A, k.Ainv)) return false;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) k.J[r][c] = k.Ainv[r][c] * B[c];
    return true;
}

void ArmModel::setJointAngles(const double q[6]) {
    if (physics_) {
        for (int i = 0; i < 6; ++i) q_[i] = q[i];
        for (double& v : qd_) v = 0;
        return;
    }
    // A pose set after some time has been stepped closes the last interval; one set at the
    // same instant only replaces the latest pose.
    if (sinceSet_ > 0) {
        for (int i = 0; i < 6; ++i) prevPose_[i] = q_[i];
        interval_ = sinceSet_;
        sinceSet_ = 0;
    }
    for (int i = 0; i < 6; ++i) {
        q_[i] = q[i];
        poseVel_[i] = interval_ > 0 ? (q_[i] - prevPose_[i]) / interval_ : 0.0;
    }
}

bool ArmModel::setPosition(const double p[3]) {
    // Each arm's constraint is linear in sin and cos of its angle:
    //   P sin(q) + Q cos(q) + W = 0, with u = x cos(phi) + y sin(phi),
    //   P = 2a(d - u), Q = -2az, W = |p|^2 + a^2 + d^2 - b^2 - 2du,
    // so q = psi +- acos(-W / rho) with psi = atan2(P, Q), rho = |(P, Q)|. The larger root
    // is the one on the branch the arm actually works in.
    const double a = g_.actLink, b = g_.passLink;
    double pp = dot(p, p);
    double q[6];
    for (int i = 0; i < 3; ++i) {
        double u = p[0] * cosPhi_[i] + p[1] * sinPhi_[i];
        double P = 2 * a * (d_ - u), Q = -2 * a * p[2];
        double W = pp + a * a + d_ * d_ - b * b - 2 * d_ * u;
        double rho = std::sqrt(P * P + Q * Q);
        if (!(rho > 0) || std::fabs(W) > rho) return false;
        double psi = std::atan2(P, Q), alpha = std::acos(-W / rho);
        double hi = wrapAngle(psi + alpha), lo = wrapAngle(psi - alpha);
        if (lo > hi) std::swap(lo, hi);
        // Near the top of a wide range (type 2) the larger root can be the arm folded past its
        // stop; the root inside the range is then the pose the arm is really in.
        const double tol = 1e-9;
        bool hiInside = hi >= qMin_ - tol && hi <= qMax_ + tol;
        bool loInside = lo >= qMin_ - tol && lo <= qMax_ + tol;
        q[i] = (!hiInside && loInside) ? lo : hi;
    }
    for (int i = 3; i < 6; ++i) q[i] = q_[i];
    setJointAngles(q);
    return true;
}

void ArmModel::jointAngles(double q[6]) const {
    for (int i = 0; i < 6; ++i) q[i] = q_[i];
}

void ArmModel::jointVelocities(double qdot[6]) const {
    if (physics_) {
        for (int i = 0; i < 3; ++i) qdot[i] = qd_[i];
        for (int i = 3; i < 6; ++i) qdot[i] = 0;
        return;
    }
    bool moving = interval_ > 0 && sinceSet_ <= 2 * interval_;
    for (int i = 0; i < 6; ++i) qdot[i] = moving ? poseVel_[i] : 0.0;
}

void ArmModel::setJointVelocities(const double qdot[3]) {
    if (!physics_) return;
    for (int i = 0; i < 3; ++i) qd_[i] = qdot[i];
}

bool ArmModel::position(double p[3]) const {
    Kin k;
    if (!elbows(q_, k)) return false;
    for (int i = 0; i < 3; ++i) p[i] = k.p[i];
    return true;
}

bool ArmModel::jacobian(double J[3][3]) const {
    Kin k;
    if (!kinematics(q_, k)) return false;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) J[r][c] = k.J[r][c];
    return true;
}

void ArmModel::setPhysics(bool on) {
    if (on && !physics_) {
        for (double& v : qd_) v = 0;
    } else if (!on && physics_) {
        beginPoseHistory();
    }
    physics_ = on;
}

bool ArmModel::physics() const { return physics_; }
void ArmModel::setFriction(double viscous) { friction_ = viscous > 0 ? viscous : 0.0; }
void ArmModel::setGravity(bool on) { gravity_ = on; }

void ArmModel::setHand(const HandScript& hand) {
    hand_ = hand;
    handStart_ = time_;
    // A zero normal falls back to the z axis, so the scripts never divide by zero.
    double n = std::sqrt(dot(hand_.normal, hand_.normal));
    if (!(n > 0)) {
        hand_.normal[0] = hand_.normal[1] = 0;
        hand_.normal[2] = n = 1;
    }
    for (double& v : hand_.normal) v /= n;
    if (hand.kind == HandScript::None)
        for (double& f : handForce_) f = 0;
}

void ArmModel::handForceAt(double t, const double p[3], const double pd[3], double f[3]) const {
    for (int i = 0; i < 3; ++i) f[i] = 0;
    const HandScript& h = hand_;
    if (h.kind == HandScript::None) return;
    // Stiffness N/mm times 1000 is kg/s^2; the damping in kg/s then gives N per mm/s / 1000.
    const double kInternal = h.stiffness * kPerNewton;
    const double damping =
        2 * kHandDampingRatio * std::sqrt(kInternal > 0 ? kInternal * kHandMass : 0) / kPerNewton;
    if (h.kind == HandScript::PushPlane) {
        double side = (p[0] - h.point[0]) * h.normal[0] + (p[1] - h.point[1]) * h.normal[1] +
                      (p[2] - h.point[2]) * h.normal[2];
        // A pure constant push on the near side, so that a wall there feels exactly it; past
        // the plane the hand has gone as far as it goes and its grip holds the handle back.
        double along = side < 0 ? h.force : -h.stiffness * side - damping * dot(pd, h.normal);
        for (int i = 0; i < 3; ++i) f[i] = along * h.normal[i];
        return;
    }
    double target[3], targetVel[3] = {0, 0, 0};
    for (int i = 0; i < 3; ++i) target[i] = h.point[i];
    if (h.kind == HandScript::FollowCircle && h.periodSeconds > 0) {
        // Two unit vectors spanning the circle's plane.
        const double* n = h.normal;
        double seed[3] = {1, 0, 0};
        if (std::fabs(n[0]) > 0.9) {
            seed[0] = 0;
            seed[1] = 1;
        }
        double u[3], v[3];
        cross(n, seed, u);
        double un = std::sqrt(dot(u, u));
        for (double& e : u) e /= un;
        cross(n, u, v);
        double w = kTrueTwoPi / h.periodSeconds, ang = w * (t - handStart_);
        double c = std::cos(ang), s = std::sin(ang);
        for (int i = 0; i < 3; ++i) {
            target[i] += h.radius * (c * u[i] + s * v[i]);
            targetVel[i] = h.radius * w * (-s * u[i] + c * v[i]);
        }
    }
    for (int i = 0; i < 3; ++i)
        f[i] = h.stiffness * (target[i] - p[i]) + damping * (targetVel[i] - pd[i]);
}

bool ArmModel::accelerations(double t, const double q[3], const double qd[3], double qdd[3],
                             double fHand[3]) const {
    Kin k;
    if (!kinematics(q, k)) return false;
    double pd[3];
    for (int r = 0; r < 3; ++r) pd[r] = k.J[r][0] * qd[0] + k.J[r][1] * qd[1] + k.J[r][2] * qd[2];

    // Velocity-product part of the handle's acceleration, J' qd: the second derivative of the
    // constraints with qdd = 0 reads (p - c_i) . pdd = (p - c_i) . c_i'' qd_i^2 - |pd - cd_i|^2.
    const double a = g_.actLink;
    double h[3];
    for (int i = 0; i < 3; ++i) {
        double rel[3], w[3];
        for (int j = 0; j < 3; ++j) {
            rel[j] = k.p[j] - k.c[i][j];
            w[j] = pd[j] - k.dc[i][j] * qd[i];
        }
        // c_i'' = -(a sin q cos phi, a sin q sin phi, a cos q)
        double s = std::sin(q[i]), c = std::cos(q[i]);
        double ddc[3] = {-a * s * cosPhi_[i], -a * s * sinPhi_[i], -a * c};
        h[i] = dot(rel, ddc) * qd[i] * qd[i] - dot(w, w);
    }
    double bias[3];
    for (int r = 0; r < 3; ++r)
        bias[r] = k.Ainv[r][0] * h[0] + k.Ainv[r][1] * h[1] + k.Ainv[r][2] * h[2];

    // Platform force: the hand, gravity, and minus the velocity-product inertia.
    double fp[3];
    handForceAt(t, k.p, pd, fHand);
    for (int j = 0; j < 3; ++j) fp[j] = fHand[j] * kPerNewton - platformMass_ * bias[j];
    if (gravity_) fp[1] -= platformMass_ * kGravity;

    double tau[3], M[3][3];
    const double diag = linkInertia_ + elbowMass_ * a * a;
    const double fr = friction_ * kPerNewton;
    for (int i = 0; i < 3; ++i) {
        tau[i] = drive_[i] - fr * qd[i] + k.J[0][i] * fp[0] + k.J[1][i] * fp[1] + k.J[2][i] * fp[2];
        if (gravity_) {
            // Elbow half of the passive link and the actuated link's centre of gravity.
            double cg = std::cos(q[i] + g_.beta);
            tau[i] -= kGravity *
                      (elbowMass_ * k.dc[i][1] + g_.massActLink * g_.actLinkGrav * cg * sinPhi_[i]);
        }
        for (int j = 0; j < 3; ++j)
            M[i][j] = platformMass_ *
                      (k.J[0][i] * k.J[0][j] + k.J[1][i] * k.J[1][j] + k.J[2][i] * k.J[2][j]);
        M[i][i] += diag;
    }
    if (g_.spring) {
        // The balancing spring stretches as joint 0 falls from 149 degrees and pulls it back
        // up: its torque is +radius * force, the one the device's compensation subtracts.
        double L = (kSpringRestAngle - q[0]) * g_.springRadius + g_.springInitLen;
        double F = g_.springK * L + g_.springInitForce;
        tau[0] += g_.springRadius * F * kPerNewton;
    }
    // A joint resting on its stop, or pressed against it, is held there: its acceleration is
    // zero and the others move with it fixed, as long as the stop has to push rather than
    // pull. Solving this contact inside the dynamics, not only by impulses after each
    // sub-step, lets a resting arm read exactly zero velocity.
    bool lock[3];
    for (int i = 0; i < 3; ++i)
        lock[i] = (q[i] <= qMin_ && qd[i] <= 0) || (q[i] >= qMax_ && qd[i] >= 0);
    for (int round = 0; round < 4; ++round) {
        double Mr[3][3], tr[3], Minv[3][3];
        for (int i = 0; i < 3; ++i) {
            tr[i] = lock[i] ? 0.0 : tau[i];
            for (int j = 0; j < 3; ++j)
                Mr[i][j] = (lock[i] || lock[j]) ? (i == j ? 1.0 : 0.0) : M[i][j];
        }
        if (!invert3(Mr, Minv)) return false;
        for (int r = 0; r < 3; ++r)
            qdd[r] = Minv[r][0] * tr[0] + Minv[r][1] * tr[1] + Minv[r][2] * tr[2];
        bool changed = false;
        for (int i = 0; i < 3; ++i) {
            if (!lock[i]) continue;
            double reaction = M[i][0] * qdd[0] + M[i][1] * qdd[1] + M[i][2] * qdd[2] - tau[i];
            bool atMin = q[i] <= qMin_;
            if ((atMin && reaction < 0) || (!atMin && reaction > 0)) {
                lock[i] = false;
                changed = true;
            }
        }
        if (!changed) break;
    }
    return true;
}

void ArmModel::stopAtLimits() {
    bool outside = false;
    for (int i = 0; i < 3; ++i) {
        if (q_[i] < qMin_) q_[i] = qMin_, outside = true;
        if (q_[i] > qMax_) q_[i] = qMax_, outside = true;
    }
    if (!outside) return;
    auto pushing = [&](int i) {
        return (q_[i] <= qMin_ && qd_[i] < 0) || (q_[i] >= qMax_ && qd_[i] > 0);
    };
    if (!pushing(0) && !pushing(1) && !pushing(2)) return;
    // An inelastic stop is an impulse along the joint that cancels its velocity; through the
    // coupled inertia it changes the other joints too, and never adds energy, unlike zeroing
    // the component alone would.
    Kin k;
    double Minv[3][3];
    bool haveInertia = false;
    if (kinematics(q_, k)) {
        double M[3][3];
        const double diag = linkInertia_ + elbowMass_ * g_.actLink * g_.actLink;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                M[i][j] = platformMass_ * (k.J[0][i] * k.J[0][j] + k.J[1][i] * k.J[1][j] +
                                           k.J[2][i] * k.J[2][j]) +
                          (i == j ? diag : 0.0);
        haveInertia = invert3(M, Minv);
    }
    for (int pass = 0; pass < 4 && haveInertia; ++pass) {
        bool any = false;
        for (int i = 0; i < 3; ++i) {
            if (!pushing(i)) continue;
            any = true;
            double lambda = -qd_[i] / Minv[i][i];
            for (int r = 0; r < 3; ++r) qd_[r] += Minv[r][i] * lambda;
            qd_[i] = 0;
        }
        if (!any) break;
    }
    for (int i = 0; i < 3; ++i)
        if (pushing(i)) qd_[i] = 0;
}

void ArmModel::step(double dt, const double jointTorque[3], bool drivesEnabled) {
    if (!(dt > 0)) return;
    if (!physics_) {
        sinceSet_ += dt;
        time_ += dt;
        return;
    }
    for (int i = 0; i < 3; ++i)
        drive_[i] = drivesEnabled && jointTorque ? jointTorque[i] * kPerNewton : 0.0;

    int n = static_cast<int>(std::ceil(dt / kMaxSubStep - 1e-9));
    if (n < 1) n = 1;
    const double h = dt / n;
    double fHand[3];
    for (int s = 0; s < n; ++s) {
        // Fourth-order Runge-Kutta on (q, qd).
        double v1[3], a1[3], q2[3], v2[3], a2[3], q3[3], v3[3], a3[3], q4[3], v4[3], a4[3];
        const double t = time_;
        bool ok = accelerations(t, q_, qd_, a1, fHand);
        for (int i = 0; i < 3 && ok; ++i) {
            v1[i] = qd_[i];
            q2[i] = q_[i] + 0.5 * h * v1[i];
            v2[i] = qd_[i] + 0.5 * h * a1[i];
        }
        ok = ok && accelerations(t + 0.5 * h, q2, v2, a2, fHand);
        for (int i = 0; i < 3 && ok; ++i) {
            q3[i] = q_[i] + 0.5 * h * v2[i];
            v3[i] = qd_[i] + 0.5 * h * a2[i];
        }
        ok = ok && accelerations(t + 0.5 * h, q3, v3, a3, fHand);
        for (int i = 0; i < 3 && ok; ++i) {
            q4[i] = q_[i] + h * v3[i];
            v4[i] = qd_[i] + h * a3[i];
        }
        ok = ok && accelerations(t + h, q4, v4, a4, fHand);
        if (!ok) {
            // Only a pose where the arms cannot meet gets here; the real arm would be stuck.
            for (double& v : qd_) v = 0;
            time_ += h;
            continue;
        }
        for (int i = 0; i < 3; ++i) {
            q_[i] += h / 6 * (v1[i] + 2 * v2[i] + 2 * v3[i] + v4[i]);
            qd_[i] += h / 6 * (a1[i] + 2 * a2[i] + 2 * a3[i] + a4[i]);
        }
        time_ += h;
        stopAtLimits();
    }
    // Report the hand's force at the state the step ends in.
    Kin k;
    if (hand_.kind != HandScript::None && kinematics(q_, k)) {
        double pd[3];
        for (int r = 0; r < 3; ++r)
            pd[r] = k.J[r][0] * qd_[0] + k.J[r][1] * qd_[1] + k.J[r][2] * qd_[2];
        handForceAt(time_, k.p, pd, handForce_);
    } else {
        for (double& f : handForce_) f = 0;
    }
}

double ArmModel::potential(const double q[3]) const {
    double v = 0;
    if (gravity_) {
        Kin k;
        if (elbows(q, k)) v += kGravity * platformMass_ * k.p[1];
        for (int i = 0; i < 3; ++i)
            v += kGravity * (elbowMass_ * k.c[i][1] + g_.massActLink * g_.actLinkGrav *
                                                          std::sin(q[i] + g_.beta) * sinPhi_[i]);
    }
    if (g_.spring) {
        double L = (kSpringRestAngle - q[0]) * g_.springRadius + g_.springInitLen;
        v += (0.5 * g_.springK * L * L + g_.springInitForce * L) * kPerNewton;
    }
    return v;
}

double ArmModel::energy() const {
    double qd[6];
    jointVelocities(qd);
    Kin k;
    double ke = 0;
    const double diag = linkInertia_ + elbowMass_ * g_.actLink * g_.actLink;
    for (int i = 0; i < 3; ++i) ke += 0.5 * diag * qd[i] * qd[i];
    if (kinematics(q_, k)) {
        double pd[3];
        for (int r = 0; r < 3; ++r)
            pd[r] = k.J[r][0] * qd[0] + k.J[r][1] * qd[1] + k.J[r][2] * qd[2];
        ke += 0.5 * platformMass_ * dot(pd, pd);
    }
    return (ke + potential(q_)) * kJoulePerUnit;
}

void ArmModel::handForce(double f[3]) const {
    for (int i = 0; i < 3; ++i) f[i] = physics_ ? handForce_[i] : 0.0;
}

} // namespace qelemu
