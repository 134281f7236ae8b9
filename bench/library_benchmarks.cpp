// What single operations of the library cost.

#include "Benchmarks.h"
#include "interface/pdalink.h"
#include "util/FileLog.h"
#include "util/LockConfig.h"
#include "util/Util.h"

#include <QCoreApplication>

#include <string>
#include <vector>

namespace {

using pdalink::bench::failUnless;

constexpr std::size_t kResponseRoom = std::size_t{128} * 1024;
constexpr std::size_t kLineLength = 100;
constexpr std::size_t kTextBefore = 20000;

// Requests that reach no terminal: configuration, log and dispatcher.

/// Makes the same call again and again.
void Request(benchmark::State& state, const std::string& request, const std::string& expected) {
    const pdalink::bench::QuietOutput quiet;
    std::vector<char> response(kResponseRoom);
    int length = 0;
    for ([[maybe_unused]] auto iteration : state) {
        PDA_CommonCall(request.c_str(), static_cast<int>(request.size()), response.data(), &length);
    }
    failUnless(response.data() == expected, state, "the request was answered with something else");
}
BENCHMARK_CAPTURE(Request, UnknownCode, R"({"transCode":"699999"})", "{}")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(Request, MissingMember, R"({"transCode":"600001","pdaNumber":"0000000001"})", "{}")
    ->Unit(benchmark::kMicrosecond);
// A transaction that is carried out and answered without a message: a file too short to be sent.
BENCHMARK_CAPTURE(
    Request, WithoutMessage,
    R"({"transCode":"600015","pdaNumber":"0000000001","pCmdEx":1,"pInfoEx":"update","pFilePath":"00"})",
    R"({"pRetCode":"","transCode":"600015"})")
    ->Unit(benchmark::kMicrosecond);

// Log.

/// Writes lines of one length until the file is rotated again and again.
template <typename Write>
void writeLines(benchmark::State& state, const Write& write) {
    const pdalink::bench::QuietOutput quiet;
    LoadLockConfig(); // opens the log
    const std::string line(kLineLength, 'x');
    bool written = true;
    for ([[maybe_unused]] auto iteration : state) {
        written = write(line.c_str()) && written;
    }
    failUnless(written, state, "a line was not written");
}

void LogLine(benchmark::State& state) {
    writeLines(state, [](const char* line) { return g_PDA_Log.AddLog(pdalink::Info, line); });
}
BENCHMARK(LogLine)->Unit(benchmark::kMicrosecond);

void LogLineFormatted(benchmark::State& state) {
    writeLines(state, [](const char* line) { return g_PDA_Log.AddLogEx(pdalink::Info, "%s", line); });
}
BENCHMARK(LogLineFormatted)->Unit(benchmark::kMicrosecond);

// Text helpers.

void Extract(benchmark::State& state, std::string text) {
    std::string tag = "Ex_RetCode";
    text += "<Ex_RetCode>000000</Ex_RetCode>";
    QString value;
    for ([[maybe_unused]] auto iteration : state) {
        CUtil::GetXMLValue(value, text.data(), static_cast<int>(text.size()), tag.data());
        benchmark::DoNotOptimize(value);
    }
    failUnless(value == QLatin1String("000000"), state, "the field was not found");
}

std::string manyFields() {
    std::string text;
    for (int field = 0; text.size() < kTextBefore; ++field) {
        const std::string name = "Ex_Field" + std::to_string(field);
        text.append("<").append(name).append(">0123456789</").append(name).append(">");
    }
    return text;
}

BENCHMARK_CAPTURE(Extract, BehindLongField, "<Ex_Label>" + std::string(kTextBefore, '7') + "</Ex_Label>")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(Extract, BehindManyFields, manyFields())->Unit(benchmark::kMicrosecond);

void SplitList(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    const QString list = QStringLiteral("E20000172211009418905449;").repeated(count);
    std::size_t found = 0;
    for ([[maybe_unused]] auto iteration : state) {
        std::vector<QString> parts;
        CUtil::plitStr(list, QStringLiteral(";"), parts);
        found = parts.size();
    }
    failUnless(found == static_cast<std::size_t>(count), state, "the list was not split");
    state.SetComplexityN(state.range(0));
}
BENCHMARK(SplitList)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Complexity(benchmark::oN)
    ->Unit(benchmark::kMillisecond);

void TimeStamp(benchmark::State& state) {
    for ([[maybe_unused]] auto iteration : state) {
        benchmark::DoNotOptimize(CUtil::getCurrentTimes());
    }
}
BENCHMARK(TimeStamp)->Unit(benchmark::kMicrosecond);

// Files.

constexpr std::size_t kPacketBytes = 1500;

void Crc(benchmark::State& state) {
    std::vector<unsigned char> data(kPacketBytes, 0x5A);
    for ([[maybe_unused]] auto iteration : state) {
        benchmark::DoNotOptimize(CUtil::CRC16(data.size(), data.data()));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(data.size()));
}
BENCHMARK(Crc)->Unit(benchmark::kMicrosecond);

void BytesToHex(benchmark::State& state) {
    std::vector<unsigned char> data(kPacketBytes, 0x5A);
    std::vector<char> text(2 * data.size() + 1);
    for ([[maybe_unused]] auto iteration : state) {
        CUtil::hex_to_str(text.data(), data.data(), static_cast<int>(data.size()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(data.size()));
}
BENCHMARK(BytesToHex)->Unit(benchmark::kMicrosecond);

void HexToBytes(benchmark::State& state) {
    const std::string text(2 * kPacketBytes, 'a');
    std::vector<unsigned char> data(kPacketBytes);
    for ([[maybe_unused]] auto iteration : state) {
        CUtil::str_to_hex(text.c_str(), data.data(), static_cast<int>(text.size()));
        benchmark::ClobberMemory();
    }
    failUnless(data.back() == 0xAA, state, "the digits were not read");
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(data.size()));
}
BENCHMARK(HexToBytes)->Unit(benchmark::kMicrosecond);

// Waits: the CPU column is what counts.

void Delay(benchmark::State& state) {
    const auto time = static_cast<unsigned int>(state.range(0));
    for ([[maybe_unused]] auto iteration : state) {
        CUtil::Delay_MSec(time);
    }
}

void DelayWithApplication(benchmark::State& state) {
    int argumentCount = 1;
    char name[] = "library_benchmarks";
    char* arguments[] = {name, nullptr};
    const QCoreApplication application(argumentCount, arguments);
    Delay(state);
}

// Few iterations: the library of benchmarks decides by CPU time, of which a wait uses next to none.
constexpr int kWaits = 10;
BENCHMARK(Delay)->Arg(10)->Arg(100)->Iterations(kWaits)->Unit(benchmark::kMicrosecond);
BENCHMARK(DelayWithApplication)->Arg(10)->Arg(100)->Iterations(kWaits)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    pdalink::bench::ensurePrivateRun(argv);
    return pdalink::bench::runBenchmarks(argc, argv);
}
