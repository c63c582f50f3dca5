// SPDX-License-Identifier: MIT
// A set of emulated devices on emulated serial ports: a umockdev testbed with one port per
// device (plus optional decoy ports that discovery must skip) and one serving thread per
// device that reads requests from the port's master end and writes the device's replies.
//
// Programs that are to see the ports run under the umockdev preload: a test program under
// umockdev-wrapper, or the child that qel-emulator starts.
//
// The replies travel as EmulatorOptions::line says: written whole at once (the pseudo-terminal,
// some 50 us from request to reply), or cut into 64-byte packets that leave only at USB
// full-speed frame (1 ms) or high-speed micro-frame (125 us) boundaries, one packet per
// (micro)frame, as a real device's replies reach the host. line_model.h describes the model.
#ifndef QELEMU_EMULATOR_H
#define QELEMU_EMULATOR_H

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "device.h"
#include "line_model.h"
#include "testbed.h"

namespace qelemu {

struct EmulatorOptions {
    int devices = 1; // 0..10
    // Per-device options, by device index; devices beyond the vector's end take the defaults.
    std::vector<DeviceOptions> device;
    // Ports that look almost like a device (see PortIdentity); added before the devices'
    // ports when decoysFirst, else after them. Nobody serves them.
    std::vector<PortIdentity> decoys;
    bool decoysFirst = false;
    // Warn when this process is not under the umockdev preload (right for a test program,
    // wrong for a launcher whose child is preloaded).
    bool warnIfNotPreloaded = true;
    // Start the serving threads in the constructor; otherwise call start().
    bool autoStart = true;
    // How every device's replies travel to the host (see line_model.h): at once on the
    // pseudo-terminal, or in 64-byte packets at USB (micro)frame boundaries.
    Line line = Line::Pty;
};

class Emulator {
public:
    explicit Emulator(const EmulatorOptions& options = EmulatorOptions());
    ~Emulator(); // stops the serving threads
    Emulator(const Emulator&) = delete;
    Emulator& operator=(const Emulator&) = delete;

    void start();
    void stop();

    int deviceCount() const { return static_cast<int>(devices_.size()); }
    // Device index 0 .. deviceCount()-1 (the serial number of device i defaults to 10001 + i).
    Device& device(int index);
    // The port node a host program opens for the device, such as "/dev/ttyACM0".
    std::string devnode(int index) const;
    // The device's port index in the testbed (decoys shift it when they come first).
    int portIndex(int index) const;
    Testbed& testbed() { return testbed_; }

    // Unplugs the device: its serving thread stops and the port disappears.
    void unplug(int index);
    // Plugs an unplugged device in again: it appears on a new port (devnode() names it), powers
    // up afresh (Device::restart) and is served again. Nothing happens to a device that is
    // plugged in.
    void replug(int index);
    bool unplugged(int index) const;

private:
    struct Slot {
        std::unique_ptr<Device> device;
        int port = -1;
        std::thread thread;
        std::atomic<bool> stop{false};
        std::atomic<bool> unplugged{false};
    };
    void serve(Slot& slot);
    void removePort(Slot& slot);

    Testbed testbed_;
    mutable std::mutex testbedMutex_; // the testbed is not thread-safe
    std::vector<std::unique_ptr<Slot>> devices_;
    bool running_ = false;
    Line line_;
};

} // namespace qelemu

#endif
