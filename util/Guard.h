#pragma once

#include <cxxabi.h>

/// Runs a body at the library's border. Whatever it throws becomes the failure's result; only the unwinding
/// of a thread that is being cancelled passes, because it must.
template <typename Body, typename Failure>
auto guarded(const Body& body, const Failure& failure) -> decltype(body()) {
    try {
        return body();
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) { // an event handler of the host's may throw anything, and runs while we wait
        return failure();
    }
}
