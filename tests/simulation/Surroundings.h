#pragma once

#include "Steps.h"
#include "tests/support/FullDisk.h"

#include <optional>
#include <string>
#include <sys/stat.h>

/// The host's machine: files, disk and memory. While it exists they are as a step's fault has them. The
/// library's directory is the current one.
class Surroundings {
public:
    /// For a library that is loaded anew.
    static void makeUsual();

    explicit Surroundings(const Step& step);
    ~Surroundings();
    Surroundings(const Surroundings&) = delete;
    Surroundings& operator=(const Surroundings&) = delete;

    /// Whether the fault is one of them, and not the terminal's.
    bool areHit() const;

    /// How many whole lines the library has logged meanwhile, but for the one of its ini. Throws a Mismatch
    /// where one begins within another.
    int loggedLines() const;

    /// Refuses the library memory from now on, if that is to begin after this number of messages.
    static void takeMemory(const Step& step, int written);

private:
    std::string m_fault;
    std::optional<FullDisk> m_fullDisk;
    struct stat m_log {};
};
