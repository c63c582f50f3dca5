// SPDX-License-Identifier: MIT
// The emulated device's own model of the delta arm and its wrist: geometry of the device
// type, joint angles, closed-form inverse kinematics for pose mode, and a physics mode in
// which motor torques, gravity, a balancing spring, friction, joint limits and a scripted hand
// move the joints. Written independently of the driver library, and kept apart from its
// kinematics on purpose, so that an end-to-end test compares two implementations.
//
// Conventions shared with the driver: lengths in millimetres, masses in kilograms, angles in
// radians; arm i stands at azimuth 90, 210, 330 degrees; its elbow is
// c_i = (D_i cos phi_i, D_i sin phi_i, a cos theta_i), D_i = a sin theta_i + (R - r), and the
// handle p satisfies |p - c_i| = b. Gravity acts along -y of the device frame. A joint angle
// is measured from the z axis and falls as the encoder count rises (angle = defAng - rotation).
//
// Joint limits: each arm joint moves in [defAng - deltaRange, defAng] degrees, the span of
// counts that calibration maps out (type 1: -1.5 to 86.5 degrees, type 2: 0 to 149 degrees).
// Physics mode stops the joints there; pose mode places the arm anywhere within reach, so that
// a test can also put it where the real arm could not go.
#ifndef QELEMU_ARM_MODEL_H
#define QELEMU_ARM_MODEL_H

#include <cstdint>

namespace qelemu {

struct ArmGeometry {
    double actLink = 0;      // a, actuated link length
    double passLink = 0;     // b, passive link length
    double fixedPlat = 0;    // R
    double floatPlat = 0;    // r
    double actLinkGrav = 0;  // distance from the shoulder to the actuated link's centre of gravity
    double massPlatform = 0; // kg
    double massActLink = 0;  // kg
    double massPassLink = 0; // kg
    double beta = 0;         // offset of the actuated link's centre of gravity, radians
    double lambda = 0;       // wrist mounting tilt, radians
    double transRatio[3] = {0, 0, 0};
    double defAngDeg[6] = {0, 0, 0, 0, 0, 0}; // joint angle at the calibrated zero count
    double deltaRangeDeg = 0;                 // the arm joints' range of motion
    bool spring = false;                      // balancing spring on joint 0 (type 2)
    double springRadius = 0, springK = 0, springInitLen = 0, springInitForce = 0;

    // The parameter set of device type 1 or 2; any other type gives type 1's.
    static ArmGeometry forType(int type, double springInitLen = 12.5, double springInitForce = 0.0);

    // Arm joint limits in radians (see the file comment); same for the three arms.
    double jointMinRad() const;
    double jointMaxRad() const;
};

// A scripted hand acting on the handle in physics mode.
//  HoldStill: a spring of `stiffness` with near-critical damping pulls the handle to `point`.
//  PushPlane: the hand pushes with exactly `force` along `normal` while the handle lies on the
//    near side of the plane through `point` ((p - point) . normal < 0); a wall rendered in
//    front of that plane is therefore pressed with the full force. The hand goes no further
//    than the plane: past it, its grip (stiffness, damped) holds the handle back at the plane.
//  FollowCircle: a damped spring pulls the handle towards a point running round the circle
//    about `point` in the plane normal to `normal`, one turn per `periodSeconds`, starting
//    when the script is set.
struct HandScript {
    enum Kind { None, HoldStill, PushPlane, FollowCircle } kind = None;
    double stiffness = 0.5;        // N/mm of the hand's grip
    double point[3] = {0, 0, 200}; // hold point, a point of the plane, or the circle's centre
    double normal[3] = {0, 0, 1};  // plane normal (PushPlane), circle axis (FollowCircle)
    double force = 2.0;            // N pushed along the normal (PushPlane)
    double radius = 20.0;          // mm (FollowCircle)
    double periodSeconds = 2.0;    // one turn (FollowCircle)
};

// Pose mode (the default) and physics mode share one state: six joint angles. A new model
// stands with every arm joint at the middle of its range and the wrist at zero.
//
// Units of the physics: lengths mm, masses kg, time s; torques in and out are N*mm, forces N,
// energy J. Gravity is 9.8 m/s^2 along -y, the value the device's own compensation is built
// around, so that perfect compensation holds the arm still. A positive joint torque drives the
// joint angle up (the count down).
class ArmModel {
public:
    explicit ArmModel(const ArmGeometry& geometry);

    const ArmGeometry& geometry() const;

    // Pose mode: joint angles are set directly (radians, three arm joints then yaw, pitch,
    // roll of the wrist) or from a handle position by closed-form inverse kinematics, taking
    // for each arm the root with the larger joint angle, unless only the smaller one lies
    // within the joint limits (near the top of type 2's range the larger root is the arm
    // folded past its stop). setPosition returns false and changes nothing when the position
    // is out of reach; it keeps the wrist angles.
    //
    // Pose-mode velocity: step() only advances time. Each new pose yields the velocity
    // (new pose - previous pose) / (time stepped between the two), reported until the arm
    // has been left in place for more than twice that time, after which it reads zero. Poses
    // set without any step in between count as one (the last wins); the first pose, and the
    // first after physics mode, read zero velocity. In physics mode both calls teleport the
    // arm and leave it at rest.
    void setJointAngles(const double q[6]);
    bool setPosition(const double p[3]);

    void jointAngles(double q[6]) const;
    void jointVelocities(double qdot[6]) const; // radians per second; wrist reads 0 in physics
    // Physics mode only: the arm joints' velocities (radians per second); ignored in pose mode.
    void setJointVelocities(const double qdot[3]);
    // Forward kinematics of the current arm joint angles; false if the arms cannot meet.
    bool position(double p[3]) const;
    // The Jacobian d p / d q of the current arm joint angles (row = axis, column = arm), in
    // mm per radian; its transpose turns a handle force in newtons into joint torques in N*mm.
    // False where the arms cannot meet or the configuration is singular.
    bool jacobian(double J[3][3]) const;

    // Physics mode. The generalized coordinates are the three arm joint angles; the wrist
    // joints keep the angles last set. Each actuated link is a rigid body turning about its
    // joint with inertia m_a (a^2/12 + Lg^2) (a bar of its length whose centre of gravity sits
    // Lg from the joint); half of each passive link's mass rides at its elbow, the other half
    // with the platform at the handle. Switching physics on starts from the current pose at
    // rest. Defaults: gravity on, friction 5 N*mm*s/rad, no hand.
    void setPhysics(bool on);
    bool physics() const;
    void setFriction(double viscous); // N*mm*s per radian at each arm joint; 0 = none
    void setGravity(bool on);
    void setHand(const HandScript& hand);
    // Advances the model by dt seconds, in internal steps of at most 0.25 ms (fourth-order
    // Runge-Kutta), so any dt from microseconds to tens of milliseconds is stable. jointTorque
    // is the torque at each arm joint in N*mm (motor torque times transmission ratio), applied
    // only while drivesEnabled; it may be null. A joint reaching its limit stops there
    // inelastically and stays until pushed away.
    void step(double dt, const double jointTorque[3], bool drivesEnabled);
    // Kinetic plus potential energy of the arm, in joules (N*m), for conservation checks.
    // Zero of the potential: gravity at y = 0, the spring at zero length.
    double energy() const;
    // The external force the hand applied in the last step, newtons (zero in pose mode).
    void handForce(double f[3]) const;

private:
    // Kinematic quantities of one arm configuration.
    struct Kin {
        double c[3][3];  // elbows
        double dc[3][3]; // d c_i / d q_i
        double p[3];     // handle
        double J[3][3];  // d p / d q (row = axis, column = arm)
        double Ainv[3][3];
    };
    bool elbows(const double q[3], Kin& k) const;
    bool kinematics(const double q[3], Kin& k) const;
    bool accelerations(double t, const double q[3], const double qd[3], double qdd[3],
                       double fHand[3]) const;
    void handForceAt(double t, const double p[3], const double pd[3], double f[3]) const;
    double potential(const double q[3]) const;
    void stopAtLimits();
    void beginPoseHistory();

    ArmGeometry g_;
    double cosPhi_[3], sinPhi_[3], d_;
    double qMin_, qMax_;
    double linkInertia_, elbowMass_, platformMass_;
    double q_[6];
    double qd_[3] = {0, 0, 0};
    // Pose-mode velocity bookkeeping.
    double prevPose_[6], poseVel_[6];
    double interval_ = 0, sinceSet_ = 0;
    bool physics_ = false, gravity_ = true;
    double friction_ = 5.0;
    HandScript hand_;
    double time_ = 0, handStart_ = 0;
    double handForce_[3] = {0, 0, 0};
    // Joint torques of the current step (internal units), held over its sub-steps.
    double drive_[3] = {0, 0, 0};
};

} // namespace qelemu

#endif
