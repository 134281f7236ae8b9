#include "pdasim/SampleState.h"

namespace pdasim {

namespace {

constexpr int SampleFile = 7;
constexpr std::size_t SampleFileLength = 4200; // more than one packet

Lock sampleLock(const std::string& id, const std::string& label) {
    Lock lock;
    lock.id = id;
    lock.label = label;
    lock.publicKey = "04A1B2C3D4";
    lock.factor = "F00D";
    lock.cdkk = {"FV-1", "EV-1", "CV-1"};
    return lock;
}

} // namespace

void fillWithSamples(TerminalState& state) {
    state.locks = {sampleLock("LOCK-1", "Front vault"), sampleLock("LOCK-2", "Back vault")};
    state.tellers.registered = "T0815";
    std::string& digits = state.files.offered[SampleFile];
    while (digits.size() < SampleFileLength) {
        digits += "0123456789abcdef";
    }
    digits.resize(SampleFileLength);
}

} // namespace pdasim
