// The emulated device's own model of the delta arm and its wrist: geometry of the device
// type, joint angles, closed-form inverse kinematics for pose mode, and a physics mode in
// which motor torques, gravity, a balancing spring, friction, joint limits and a scripted hand
// move the joints. Written independently of the driver library so that an end-to-end test
// compares two implementations.
//
// Conventions shared with the driver: lengths in millimetres, masses in kilograms, angles in
// radians; arm i stands at azimuth 90, 210, 330 degrees; its elbow is
// c_i = (D_i cos phi_i, D_i sin phi_i, a cos theta_i), D_i = a sin theta_i + (R - r), and the
// handle p satisfies |p - c_i| = b. Gravity acts along -y of the device frame.
#ifndef QELEMU_ARM_MODEL_H
#define QELEMU_ARM_MODEL_H

#include <cstdint>

namespace qelemu {

struct ArmGeometry {
    double actLink = 0;       // a, actuated link length
    double passLink = 0;      // b, passive link length
    double fixedPlat = 0;     // R
    double floatPlat = 0;     // r
    double actLinkGrav = 0;   // distance from the shoulder to the actuated link's centre of gravity
    double massPlatform = 0;  // kg
    double massActLink = 0;   // kg
    double massPassLink = 0;  // kg
    double beta = 0;          // offset of the actuated link's centre of gravity, radians
    double lambda = 0;        // wrist mounting tilt, radians
    double transRatio[3] = {0, 0, 0};
    double defAngDeg[6] = {0, 0, 0, 0, 0, 0}; // joint angle at the calibrated zero count
    double deltaRangeDeg = 0;                 // the arm joints' range of motion
    bool spring = false;                      // balancing spring on joint 0 (type 2)
    double springRadius = 0, springK = 0, springInitLen = 0, springInitForce = 0;

    // The parameter set of device type 1 or 2; any other type gives type 1's.
    static ArmGeometry forType(int type, double springInitLen = 12.5,
                               double springInitForce = 0.0);
};

// A scripted hand acting on the handle in physics mode.
struct HandScript {
    enum Kind { None, HoldStill, PushPlane, FollowCircle } kind = None;
    double stiffness = 0.5;        // N/mm of the hand's grip
    double point[3] = {0, 0, 200}; // hold point, a point of the plane, or the circle's centre
    double normal[3] = {0, 0, 1};  // plane normal (PushPlane), circle axis (FollowCircle)
    double force = 2.0;            // N pushed along the normal (PushPlane)
    double radius = 20.0;          // mm (FollowCircle)
    double periodSeconds = 2.0;    // one turn (FollowCircle)
};

class ArmModel {
public:
    explicit ArmModel(const ArmGeometry& geometry);

    const ArmGeometry& geometry() const;

    // Pose mode: joint angles are set directly (radians, three arm joints then yaw, pitch,
    // roll of the wrist) or from a handle position by closed-form inverse kinematics, taking
    // for each arm the root with the larger joint angle. setPosition returns false and changes
    // nothing when the position is out of reach.
    void setJointAngles(const double q[6]);
    bool setPosition(const double p[3]);

    void jointAngles(double q[6]) const;
    void jointVelocities(double qdot[6]) const; // radians per second
    // Forward kinematics of the current arm joint angles; false if the arms cannot meet.
    bool position(double p[3]) const;

    // Physics mode.
    void setPhysics(bool on);
    bool physics() const;
    void setFriction(double viscous);   // N*mm*s per radian at each arm joint; 0 = none
    void setGravity(bool on);
    void setHand(const HandScript& hand);
    // Advances the model by dt seconds. jointTorque is the torque at each arm joint in N*mm
    // (motor torque times transmission ratio), applied only while drivesEnabled.
    void step(double dt, const double jointTorque[3], bool drivesEnabled);
    // Kinetic plus potential energy of the arm, in joules (N*m), for conservation checks.
    double energy() const;
    // The external force the hand applied in the last step, newtons.
    void handForce(double f[3]) const;
};

} // namespace qelemu

#endif
