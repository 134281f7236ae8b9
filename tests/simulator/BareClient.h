#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim::test {

/// A host that knows nothing but open, poll, read and write.
class BareClient {
public:
    explicit BareClient(const std::string& path);
    BareClient(const BareClient&) = delete;
    BareClient& operator=(const BareClient&) = delete;
    ~BareClient();

    int descriptor() const { return m_descriptor; }
    bool isOpen() const { return m_descriptor >= 0; }
    void close();

    /// What write(2) returns, or its errno as a negative number.
    ssize_t write(std::string_view bytes) const;
    /// One read(2); its errno as a negative number in `error`.
    std::string read(std::size_t count = 4096);
    /// 0 after a read that gave a report, otherwise the errno.
    int readError() const { return m_readError; }

    /// poll(2) for input; the events seen.
    short poll(std::chrono::milliseconds timeout) const;

    /// All reports that come until none has come for the time.
    std::vector<std::string> readReports(std::chrono::milliseconds quiet = std::chrono::milliseconds(200));
    /// The text in as many reports as it takes to see its end, each up to its first NUL.
    std::string readText(std::string_view end = "</Ex_RetCode>",
                         std::chrono::milliseconds timeout = std::chrono::seconds(10));

private:
    int m_descriptor;
    int m_readError = 0;
};

/// A request as a conforming host builds it.
std::string request(std::string_view type, int sequence, std::string_view body = {});
/// The same with any text in place of the sequence number.
std::string requestWithSequence(std::string_view type, std::string_view sequence, std::string_view body = {});

/// A device as libudev shows it.
struct FoundDevice {
    std::string node;
    bool hasUsbParent = false;
    std::string vendorId;
    std::string productId;
    /// "(absent)" for an attribute that is not there.
    std::string manufacturer;
    std::string product;
    std::string serial;
};

/// All hidraw devices in the order in which libudev lists them.
std::vector<FoundDevice> enumerateHidraw();

} // namespace pdasim::test
