// SPDX-License-Identifier: MIT
#include "device.h"

#include "QEL_OPEN.h"
#include "clock.h"
#include "failure.h"

namespace qeltool {

void addSelection(CLI::App& command, Selection& selection) {
    command
        .add_option("-d,--device", selection.id,
                    "the device to use, numbered from 1 as 'qel-tool list'\nshows (default 1)")
        ->option_text("N")
        ->check(qelcli::integer(1, 10));
    command
        .add_option_function<unsigned int>(
            "--serial", [&selection](unsigned int serial) { selection.serial = serial; },
            "the device with serial number S instead")
        ->option_text("S")
        ->check(qelcli::integer(1, 0xFFFFFFFF));
}

namespace {

// Expert functions need the interface's expert mode, which some other functions switch off
// behind them: it is switched on before each such call.
void expert() { qelEnableExpertMode(); }

} // namespace

Device::Device(const Selection& selection) {
    clearLibraryError();
    if (selection.serial) {
        int id = qelOpenSerial(*selection.serial);
        if (id == 0) {
            unsigned int code = 0, node = 0;
            qelErrorGetLast(&code, &node);
            const LibraryError* e = classify(code, qelErrorGetLastStr());
            if (e && !e->device && e->code == 3)
                throw Failure(e->status,
                              "no device has serial number " + std::to_string(*selection.serial));
            throw libraryFailure("cannot open the device with serial number " +
                                 std::to_string(*selection.serial));
        }
        id_ = id;
        return;
    }
    if (qelOpenID(static_cast<char>(selection.id)) != selection.id) {
        int count = qelGetDeviceCount();
        Failure failure = libraryFailure("cannot open device " + std::to_string(selection.id));
        if (count > 0 && selection.id > count)
            throw Failure(failure.status, "there is no device " + std::to_string(selection.id) +
                                              ": " + std::to_string(count) +
                                              (count == 1 ? " device is" : " devices are") +
                                              " connected");
        throw failure;
    }
    id_ = selection.id;
}

Device::~Device() {
    stopRendering();
    qelClose(cid());
}

void Device::stopRendering() {
    if (!rendering_) return;
    qelSetForce(0, 0, 0, cid());
    if (gravity_) qelSetGravityCompensation(0, cid());
    qelEnableDevice(false, cid());
    qelEnableForce(0, cid());
    rendering_ = gravity_ = false;
}

std::string Device::name() const { return "device " + std::to_string(id_); }

std::string Device::of(const char* what) const { return name() + ": cannot " + what; }

void Device::init() {
    clearLibraryError();
    check(qelInit(cid()), of("initialise it"));
}

void Device::reopen() {
    stopRendering();
    qelClose(cid());
    clearLibraryError();
    if (qelOpenID(cid()) != id_) throw libraryFailure(of("open it again"));
    init();
}

void Device::loadCalibration() {
    clearLibraryError();
    check(qelCalibrateDevice(cid()), of("load its calibration"));
}

void Device::awaitPosition() {
    double deadline = now() + 1.0;
    while (now() < deadline) {
        Vector p = position();
        // The refresh thread has not been round while the position is all zero: the handle
        // of a delta arm never sits at the base's centre.
        if (p[0] != 0 || p[1] != 0 || p[2] != 0) return;
        sleepUntil(now() + 0.002);
    }
}

unsigned int Device::serialNumber() {
    clearLibraryError();
    unsigned int serial = 0;
    check(qelGetSerialNumber(&serial, cid()), of("read its serial number"));
    return serial;
}

unsigned int Device::readInt(unsigned short param) {
    clearLibraryError();
    expert();
    unsigned int value = 0;
    check(qelGetParaInt(param, &value, cid()),
          of(("read parameter " + std::to_string(param)).c_str()));
    return value;
}

short Device::readShort(unsigned short param) {
    clearLibraryError();
    expert();
    short value = 0;
    check(qelGetParaShort(param, &value, cid()),
          of(("read parameter " + std::to_string(param)).c_str()));
    return value;
}

void Device::writeInt(unsigned short param, unsigned int value) {
    clearLibraryError();
    expert();
    check(qelSetParaInt(param, value, cid()),
          of(("write parameter " + std::to_string(param)).c_str()));
}

void Device::writeShort(unsigned short param, short value) {
    clearLibraryError();
    expert();
    check(qelSetParaShort(param, value, cid()),
          of(("write parameter " + std::to_string(param)).c_str()));
}

void Device::commit() {
    clearLibraryError();
    expert();
    check(qelSaveConfiguration(cid()), of("commit its registers"));
}

Vector Device::position() {
    clearLibraryError();
    Vector p{};
    check(qelGetPosition(&p[0], &p[1], &p[2], cid()), of("read the position"));
    return p;
}

// In degrees through the library's own conversion. Its degree form reads the interface's
// current device whatever device it names, so this one is made current first.
Vector Device::orientationDegrees() {
    if (!current_) current_ = qelSetDevice(cid()) == 1;
    clearLibraryError();
    Vector o{};
    check(qelGetOrientationDeg(&o[0], &o[1], &o[2], cid()), of("read the orientation"));
    return o;
}

Vector Device::velocity() {
    clearLibraryError();
    Vector v{};
    check(qelGetLinearVelocity(&v[0], &v[1], &v[2], cid()), of("read the velocity"));
    return v;
}

Vector Device::force() {
    clearLibraryError();
    Vector f{};
    check(qelGetForce(&f[0], &f[1], &f[2], cid()), of("read the force"));
    return f;
}

bool Device::button(int index) {
    clearLibraryError();
    int pressed = qelGetButton(index, cid());
    if (!pressed && libraryErrorPending()) throw libraryFailure(of("read the buttons"));
    return pressed != 0;
}

double Device::loopRate() {
    clearLibraryError();
    double rate = qelGetComFreq(cid());
    if (rate == 0.0 && libraryErrorPending()) throw libraryFailure(of("read the loop rate"));
    return rate;
}

unsigned char Device::operationMode() {
    clearLibraryError();
    QELuchar mode = 0;
    check(qelGetOperationMode(&mode, cid()), of("read the operation mode"));
    return mode;
}

std::array<unsigned int, 6> Device::encoders() {
    clearLibraryError();
    expert();
    std::array<unsigned int, 6> counts{};
    check(qelGetEnc(counts.data(), 0x3F, cid()), of("read the encoders"));
    return counts;
}

std::array<int, 3> Device::armEncoders() {
    clearLibraryError();
    expert();
    std::array<int, 3> counts{};
    // The three reads are not checked one by one: the record tells whether one failed.
    int ok = qelGetDeltaEncoders(&counts[0], &counts[1], &counts[2], cid());
    check(ok && !libraryErrorPending(), of("read the encoders"));
    return counts;
}

Vector Device::armAngles() {
    clearLibraryError();
    expert();
    Vector angles{};
    check(qelGetDeltaJointAngles(&angles[0], &angles[1], &angles[2], cid()),
          of("read the arm's joint angles"));
    return angles;
}

std::array<double, 9> Device::orientationFrame() {
    clearLibraryError();
    double m[3][3] = {};
    check(qelGetOrientationFrame(m, cid()), of("read the orientation"));
    return {m[0][0], m[0][1], m[0][2], m[1][0], m[1][1], m[1][2], m[2][0], m[2][1], m[2][2]};
}

unsigned int Device::velocityThreshold() {
    clearLibraryError();
    expert();
    QELuint threshold = 0;
    check(qelGetVelocityThreshold(&threshold, cid()), of("read the velocity threshold"));
    return threshold;
}

void Device::render(const Vector& force, bool gravity) {
    clearLibraryError();
    rendering_ = true;
    gravity_ = gravity;
    check(qelSetForce(force[0], force[1], force[2], cid()), of("set the force"));
    check(qelSetGravityCompensation(gravity ? 1 : 0, cid()), of("switch gravity compensation"));
    check(qelEnableForce(1, cid()), of("enable force output"));
    check(qelEnableDevice(true, cid()), of("power the drives"));
}

void Device::setForce(const Vector& force) {
    clearLibraryError();
    check(qelSetForce(force[0], force[1], force[2], cid()), of("set the force"));
}

void Device::setGravity(bool gravity) {
    clearLibraryError();
    gravity_ = gravity;
    check(qelSetGravityCompensation(gravity ? 1 : 0, cid()), of("switch gravity compensation"));
}

std::optional<std::array<int, 3>> Device::motorCommands(const Vector& force,
                                                        const std::array<int, 3>& counts) {
    if (!rendering_) return std::nullopt;
    clearLibraryError();
    expert();
    QELushort m[3] = {};
    int ok = qelDeltaForceToMotor(force[0], force[1], force[2], counts[0], counts[1], counts[2],
                                  &m[0], &m[1], &m[2], cid());
    // The conversion declines without a reason while the drives are off, as after the
    // library's speed cut-off: nothing is rendered then.
    if (!ok && !libraryErrorPending()) return std::nullopt;
    check(ok, of("compute the motor commands"));
    std::array<int, 3> commands{};
    for (int i = 0; i < 3; ++i) commands[static_cast<size_t>(i)] = static_cast<short>(m[i]);
    return commands;
}

void Device::saveCalibration(const std::array<unsigned int, 6>& lower,
                             const std::array<unsigned int, 6>& upper, unsigned char mask) {
    clearLibraryError();
    expert();
    std::array<unsigned int, 6> low = lower, high = upper;
    check(qelSaveCalibration(low.data(), high.data(), mask, cid()), of("save the calibration"));
}

} // namespace qeltool
