#include "Channel.h"

#include "Failure.h"

#include <pdalink/analysis/PDAXMLAnalysis.h>
#include <pdalink/device/HIDDevice.h>
#include <pdalink/util/Util.h>

#include <unistd.h>

#include <iostream>

namespace pdactl {

namespace {

constexpr int OpeningSteps = 100;
constexpr unsigned int StepMilliseconds = 10;
constexpr std::chrono::seconds BetweenTries{1};

bool isOpen() {
    return g_hidRun && g_fd >= 0 && ::access(g_strSerialPort.toUtf8().constData(), F_OK) == 0;
}

} // namespace

void Channel::open() {
    if (!tryToOpen()) {
        throw Failure(NotSent,
                      "There is no terminal to listen to. Plug it in; run 'pdactl doctor' if it is.");
    }
}

void Channel::keepOpen() {
    if (isOpen()) {
        return;
    }
    if (!m_isGone) {
        std::cerr << "pdactl: the terminal has gone; plug it in again, or end with Ctrl-C" << std::endl;
        m_isGone = true;
    }
    if (Clock::now() - m_lastTry >= BetweenTries && tryToOpen()) {
        std::cerr << "pdactl: the terminal is back" << std::endl;
        m_isGone = false;
    }
}

/** A receiver of the library's own opens the node; that takes a moment. */
bool Channel::tryToOpen() {
    m_host.call([] {
        const CPDAXMLAnalysis configuration;
        (void)g_HIDDevice.openHidDevice();
        for (int step = 0; step < OpeningSteps && !g_strSerialPort.isEmpty() && !isOpen(); ++step) {
            CUtil::Delay_MSec(StepMilliseconds);
        }
    });
    m_lastTry = Clock::now();
    return isOpen();
}

} // namespace pdactl
