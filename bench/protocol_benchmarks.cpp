// What single steps inside the library cost: building messages, and cutting and joining files.

#include "Benchmarks.h"
#include "analysis/FilePackets.h"
#include "analysis/MessageEnvelope.h"

#include <malloc.h>

#include <string>

namespace {

using namespace pdalink;
using pdalink::bench::failUnless;

constexpr std::size_t kPacketLength = 3000;

double bytesInUse() {
    const struct mallinfo2 memory = ::mallinfo2();
    return static_cast<double>(memory.uordblks + memory.hblkhd);
}

/// A message with as many body tags as the handover of a dot has, and 2000 labels.
void BuildMessage(benchmark::State& state) {
    const QString labels = QStringLiteral("E20000172211009418905449;").repeated(2000);
    int length = 0;
    for ([[maybe_unused]] auto iteration : state) {
        MessageEnvelope envelope("8010");
        for (const char* tag :
             {"Ex_PdaSn", "Ex_OrgNb", "Ex_Time", "Ex_OrgNm", "Ex_BatchNb", "Ex_TaskId", "Ex_Total"}) {
            envelope.add(tag, QStringLiteral("0123456789"));
        }
        envelope.add("Ex_Label", labels);
        length = envelope.message().size();
    }
    failUnless(length > labels.size(), state, "the message is incomplete");
}
BENCHMARK(BuildMessage)->Unit(benchmark::kMicrosecond);

/// Cuts a file into packets, without copying it. The counter is the memory that the plan takes.
void PlanFile(benchmark::State& state) {
    const std::string text(static_cast<std::size_t>(state.range(0)), '7');
    double planBytes = 0;
    std::size_t packets = 0;
    for ([[maybe_unused]] auto iteration : state) {
        const double before = bytesInUse();
        const FileText file(text.c_str());
        planBytes = bytesInUse() - before;
        packets = static_cast<std::size_t>(file.packets());
    }
    failUnless(packets == text.size() / kPacketLength, state, "the file was not cut");
    state.counters["plan_bytes"] = planBytes;
    state.SetComplexityN(state.range(0));
}
BENCHMARK(PlanFile)
    ->Arg(6'000'000)
    ->Arg(60'000'000)
    ->Arg(600'000'000)
    ->Complexity(benchmark::oN)
    ->Unit(benchmark::kMillisecond);

/// The check of one packet: decoding and CRC.
void CheckPacket(benchmark::State& state) {
    const std::string text(kPacketLength, 'a');
    QByteArray check;
    for ([[maybe_unused]] auto iteration : state) {
        check = FilePacket{text.c_str(), text.size(), text.size()}.checkText();
    }
    failUnless(check.size() == 4, state, "no check");
}
BENCHMARK(CheckPacket)->Unit(benchmark::kMicrosecond);

/// Keeps the packets of a fetched file and joins them. The counter is the memory they take, to a byte of
/// data.
void JoinFile(benchmark::State& state) {
    const QByteArray packet(static_cast<int>(kPacketLength), '7');
    const auto packets = static_cast<int>(state.range(0));
    std::string output(kPacketLength * static_cast<std::size_t>(packets), '\0');
    double tableBytes = 0;
    for ([[maybe_unused]] auto iteration : state) {
        const double before = bytesInUse();
        PacketTable table;
        for (int number = 0; number < packets; ++number) {
            table.store(number, packet);
        }
        tableBytes = bytesInUse() - before;
        table.copyTo(Output(output.data()));
    }
    failUnless(output.back() == '7', state, "the file was not joined");
    state.counters["table_bytes_per_byte"] = tableBytes / static_cast<double>(output.size());
    state.SetComplexityN(state.range(0));
}
BENCHMARK(JoinFile)
    ->Arg(1000)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Complexity(benchmark::oN)
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return pdalink::bench::runBenchmarks(argc, argv);
}
