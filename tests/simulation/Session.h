#pragma once

#include "Model.h"

#include <array>

/// What a host has seen of a call.
struct Outcome {
    std::array<char, 32> shown{}; ///< the result, of JSON the result code
    std::size_t values = 0;       ///< a hash over all else
    int loggedLines = 0;
};

/// Carries steps out, in one process whose library is as it was loaded, and holds what comes of each against
/// the model.
class Session {
public:
    explicit Session(bool knowsShortening) : m_model(m_device, knowsShortening) {}

    /// Throws a Mismatch.
    void run(const Step& step);

    const Device& device() const { return m_device; }
    const Outcome& outcome() const { return m_outcome; }

private:
    void call(const Step& step);
    void handOver(const Step& step, const Handler& handler);
    void readStore(const std::string& member);
    void checkAnswer(const Step& step, const Row& row, const std::vector<Value>& inputs,
                     const std::string& groups);
    /// What the steps so far do not excuse must work.
    bool mustWork(const Step& step) const;

    Device m_device;
    Model m_model;
    Outcome m_outcome;
    bool m_wereHit = false; ///< the surroundings, by the step before
};
