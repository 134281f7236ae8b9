#pragma once

#include "Descriptors.h"
#include "OutputCapture.h"
#include "PrivateDirectory.h"
#include "TestBed.h"

#include "device/UsbDiscovery.h"
#include "util/LockConfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QString>
#include <filesystem>
#include <string>
#include <vector>

/// A system with simulated devices, and what one walk over them prints, logs and finds.
class DiscoveryTest : public testing::Test {
protected:
    DiscoveryTest() { LoadLockConfig(); } // opens the log

    pdasim::TestBed& testBed() { return m_testBed; }

    /// Adds a device with the given ids and the other attributes as they are by default.
    pdasim::TestBed::DeviceId add(const std::string& vendorId, const std::string& productId) {
        pdasim::DeviceDescription description;
        description.vendorId = vendorId;
        description.productId = productId;
        return m_testBed.addDevice(description);
    }

    std::string find(const std::string& vid = "1209", const std::string& pid = "0001") {
        const std::size_t logged = pdalink::test::readLog().size();
        const pdalink::test::StandardOutputCapture output;
        const QString node = findUsbDevice(QString::fromStdString(vid), QString::fromStdString(pid));
        m_printed = output.text();
        m_logged = pdalink::test::readLog();
        m_logged.erase(m_logged.begin(), m_logged.begin() + static_cast<std::ptrdiff_t>(logged));
        return node.toStdString();
    }

    /// What the last walk wrote to standard output and to the log.
    const std::string& printed() const { return m_printed; }
    const std::vector<pdalink::test::LogLine>& logged() const { return m_logged; }
    std::vector<std::string> loggedTexts() const {
        std::vector<std::string> texts;
        for (const pdalink::test::LogLine& line : m_logged) {
            texts.push_back(line.text);
        }
        return texts;
    }

    /// The sysfs directory of the USB device that a node belongs to.
    std::filesystem::path usbDirectory(const std::string& node) const {
        std::filesystem::path directory = hidrawDirectory(node);
        while (!std::filesystem::exists(directory / "idVendor")) {
            directory = directory.parent_path();
        }
        return directory;
    }
    std::filesystem::path hidrawDirectory(const std::string& node) const {
        return std::filesystem::canonical(m_testBed.rootDirectory() + "/sys/class/hidraw/" +
                                          std::filesystem::path(node).filename().string());
    }

private:
    pdasim::TestBed m_testBed;
    std::string m_printed;
    std::vector<pdalink::test::LogLine> m_logged;
};
