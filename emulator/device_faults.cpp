// SPDX-License-Identifier: MIT
// Faults injected into the emulated device's replies: which rule hits which reply, and what
// it does to the reply.
#include "device.h"

namespace qelemu {

Device::ReplyPlan Device::applyFaults(uint8_t* reply, size_t length) {
    std::lock_guard<std::mutex> lock(mutex_);
    ReplyPlan plan;
    plan.length = length;
    const uint8_t code = reply[1];
    unsigned matched = 0;
    int pauseMs = 0, delayMs = 0;
    size_t splitAt = 0;
    for (FaultRule& rule : faults_) {
        if (!rule.active) continue;
        const Fault& f = rule.fault;
        if (f.kind == FaultKind::ZeroAck && !isAcknowledgement(code)) continue;
        bool hit = false;
        switch (f.when) {
        case Fault::When::Next:
            hit = true;
            rule.active = false;
            break;
        case Fault::When::EveryNth:
            hit = ++rule.seen % static_cast<uint64_t>(f.every > 0 ? f.every : 1) == 0;
            break;
        case Fault::When::OnCode:
            hit = f.code == code;
            break;
        }
        if (!hit) continue;
        matched |= 1u << static_cast<int>(f.kind);
        if (f.kind == FaultKind::SplitReply) pauseMs = f.pauseMs, splitAt = f.splitAt;
        if (f.kind == FaultKind::Delay) delayMs += f.pauseMs;
    }
    if (!matched) return plan;
    auto has = [matched](FaultKind k) { return (matched >> static_cast<int>(k)) & 1u; };
    for (int k = 0; k < kFaultKinds; ++k)
        if (matched >> k & 1u) ++faultsApplied_[k];

    // Faults that leave a well-formed frame with wrong content recompute the checksum; the
    // checksum corruption comes after them.
    const size_t body = length - 2;
    if (has(FaultKind::WrongHeader)) reply[0] = 0xBF;
    if (has(FaultKind::WrongCode)) reply[1] = static_cast<uint8_t>(code + 1);
    if (has(FaultKind::ZeroAck)) reply[2] = 0;
    if (has(FaultKind::WrongHeader) || has(FaultKind::WrongCode) || has(FaultKind::ZeroAck))
        appendCrc(reply, body);
    if (has(FaultKind::CorruptChecksum)) reply[length - 1] ^= 0x5A;
    if (has(FaultKind::ShortReply)) plan.length = length - 1;
    if (has(FaultKind::SplitReply)) {
        plan.splitAt = splitAt ? splitAt : plan.length / 2;
        if (plan.splitAt >= plan.length) plan.splitAt = 0;
        plan.pauseMs = pauseMs;
    }
    if (has(FaultKind::Delay)) plan.delayMs = delayMs;
    if (has(FaultKind::NoReply)) plan.length = 0;
    if (has(FaultKind::Unplug)) plan.unplug = true, plan.length = 0;
    return plan;
}

void Device::injectFault(const Fault& fault) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (FaultRule& rule : faults_) {
        if (rule.active) continue;
        rule.fault = fault;
        rule.seen = 0;
        rule.active = true;
        return;
    }
}

void Device::clearFaults() {
    std::lock_guard<std::mutex> lock(mutex_);
    for (FaultRule& rule : faults_) rule.active = false;
}

uint64_t Device::faultsApplied(FaultKind kind) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return faultsApplied_[static_cast<int>(kind)];
}

} // namespace qelemu
