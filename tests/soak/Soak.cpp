// A host that runs for long: pdalink_soak [SECONDS [SEED]]
//
// Round after round it loads the library, has trouble with a terminal, and unloads it. What it says is on
// standard error, because the library prints to standard output.

#include "Harness.h"
#include "PrivateDirectory.h"
#include "ProcessFacts.h"
#include "SimulatedTerminal.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <array>
#include <atomic>
#include <dlfcn.h>
#include <iostream>
#include <random>

namespace {

using namespace std::chrono_literals;
using namespace pdalink::test;
using Clock = std::chrono::steady_clock;
using pdasim::Announced;
using pdasim::Fault;

/// What goes wrong with a message, and how many calls after it may fail as well.
struct Trouble {
    const char* name;
    Fault fault;
    int lostCalls = 0;
};

/// A message that the terminal starts, and where the library keeps the value of a tag in it: at 1.
struct Record {
    Announced kind;
    const char* tag;
    const char* handler;
    const char* store;
};

// clang-format off
const std::vector<Trouble> kTroubles{
    {"silence",          Fault().silence()},
    {"late",             Fault().delay(5100ms), 2}, // during the one call after it or the other
    {"other type",       Fault().replyType("8099")},
    {"garbage",          Fault().rawReply("\xff\xfe<Ex_RetCode>0\x80</Ex_" + std::string(200, '\xc3'))},
    {"in pieces",        Fault().split(2, 150ms), 1}, // the second one during the call after it
    {"twice",            Fault().repeatReply()},
    {"failed write",     Fault().refuseWrite(EIO)},
    {"short write",      Fault().shortWrite(20)},
    // The write of the next call fails, the one after it finds no terminal.
    {"unplugged before", Fault().unplugBeforeReply(), 2},
    {"unplugged after",  Fault().unplugAfterReply(), 2},
};
const std::vector<Record> kRecords{
    {Announced::ScannedLabel,    "Ex_Label",   "17ReceiveScanResult",        "pda_ScanLabel"},
    {Announced::UserNotice,      "Ex_UserNm",  "19ReceiveRandomNumber",      "pda_RandomNumber"},
    {Announced::LoginRecord,     "Ex_Login",   "16ReceiveLoginData",         "pda_LoginData"},
    {Announced::InventoryRecord, "Ex_Total",   "20ReceiveInventoryData",     "pda_GetInventoryRet"},
    {Announced::DotHandover,     "Ex_Road",    "22ReceiveHandoverDotData",   "pda_HandoverDotData"},
    {Announced::PowerHandover,   "Ex_BatchNb", "24ReceiveHandoverPowerData", "pda_HandoverPowerData"},
};
// clang-format on

/// What the simulated devices and the loader keep of each round, in bytes, with room to spare.
constexpr std::size_t kGrowth = 8192;

void demand(bool isSo, const std::string& what) {
    if (!isSo) {
        throw std::runtime_error(what);
    }
}

/// Another one each time.
void inAThread(const std::function<void()>& body) {
    std::thread(body).join();
}

/// Descriptors, threads, and bytes on the heap.
std::array<std::size_t, 3> holdings() {
    return {descriptorTargets().size(), threadIds().size(), heapInUse()};
}

class Host {
public:
    explicit Host(unsigned int seed) : m_random(seed) {}

    void run(std::chrono::seconds time) {
        const auto end = Clock::now() + time;
        std::array<std::size_t, 3> first{};
        std::array<std::size_t, 3> last{};
        while (m_rounds < 2 || Clock::now() < end) {
            ++m_rounds;
            round();
            checkLog();
            first = m_rounds == 1 ? holdings() : first;
            const bool isSettled = waitUntil([&] {
                last = holdings();
                first = {std::min(first[0], last[0]), std::min(first[1], last[1]), first[2]};
                return last[0] == first[0] && last[1] == first[1];
            });
            demand(isSettled, "there are more descriptors or threads than after an earlier round");
            demand(last[2] < first[2] + kGrowth * (m_rounds + 20), "the heap grows");
        }
        std::cerr << m_rounds << " rounds, " << m_calls << " calls, " << m_repeated << " repeated; "
                  << last[0] << " descriptors, " << last[1] << " threads; heap " << first[2] << " to "
                  << last[2] << " bytes" << std::endl;
        demand(m_repeated <= 2 + m_calls / 50, "too many calls had to be repeated");
    }

private:
    /// Every request, then everything else in an order of its own.
    void round() {
        std::array<void (Host::*)(), 5> steps{&Host::meetTrouble, &Host::meetTrouble, &Host::listLocks,
                                              &Host::takeRecord, &Host::stopReceiver};
        pdasim::SimulatedTerminal::Options device;
        device.reportSize = 4096; // the parts of a long reply have 100 ms to arrive, on a busy machine too
        m_terminal.emplace(m_testBed, device);
        drawValues();
        inAThread([this] { m_library = dlopen(kLibrary.c_str(), RTLD_NOW); });
        for (const QJsonValue row : qAsConst(m_rows)) { // later ones ask for what earlier ones have told
            expectRight(row.toObject());
        }
        std::shuffle(steps.begin(), steps.end(), m_random);
        for (const auto step : steps) {
            (this->*step)();
        }
        unload();
        for (const std::string& violation : m_terminal->violations()) {
            demand(false, "the terminal objects: " + violation);
        }
        m_terminal.reset();
        m_rows = {};
        m_file = {};
    }

    /// What an earlier round has left anywhere is not right in this one.
    void drawValues() {
        m_value = std::to_string(1000000 + draw(9000000));
        for (int size = 10 + draw(4000); size > 0; --size) {
            m_file += "0123456789abcdef"[draw(16)];
        }
        QString rows = QString::fromStdString(readFile(PDALINK_SOAK_REQUESTS));
        for (const char* each : {"860123456789012", "INV-1", "DOT-1", "POW-1", "Route 7", "Prüf€"}) {
            rows.replace(each, each + QString::fromStdString(m_value));
        }
        rows.replace("0a0b0c0d0e", ("aa" + m_file).c_str()).replace("0011223344", m_file.c_str());
        m_rows = QJsonDocument::fromJson(rows.toUtf8()).array();
        demand(m_rows.size() == 19, "there are not nineteen requests in " PDALINK_SOAK_REQUESTS);
    }

    /// With the channel open, being opened, or hung up.
    void unload() {
        const int how = draw(3);
        if (how == 1) {
            stopReceiver();
            symbol<bool(void*)>("_ZN10CHIDDevice13openHidDeviceEv")(this);
        } else if (how == 2) {
            m_terminal->unplug();
        }
        inAThread([this] { dlclose(m_library); });
        demand(dlopen(kLibrary.c_str(), RTLD_NOW | RTLD_NOLOAD) == nullptr, "the library stays loaded");
        demand(waitUntil([this] { return m_terminal->openDescriptors() == 0; }), "the node stays open");
    }

    void meetTrouble() {
        const Trouble& trouble = kTroubles.at(static_cast<std::size_t>(draw(10)));
        std::cerr << "meets: " << trouble.name << std::endl;
        m_terminal->addFault(pdasim::SimulatedTerminal::AnyType, trouble.fault);
        for (int calls = 1 + trouble.lostCalls; calls > 0; --calls) {
            call(anyRow());
        }
        expectRight(anyRow());
    }

    void listLocks() {
        expect("listing locks", [this] {
            std::array<char[100], 7> out{};
            callMember("11GetLockList", out[0], out[1], out[2], out[3], out[4], out[5], out[6]);
            return out[3] == m_value + ";";
        });
    }

    void takeRecord() {
        const Record& record = kRecords.at(static_cast<std::size_t>(draw(6)));
        const QJsonObject scanning = m_rows[3].toObject(); // empties the library's list of labels
        expect(record.store, [&] {
            const bool isListening = isRight(scanning);
            std::string sent = m_terminal->announce({record.kind, {{record.tag, m_value}}});
            QString taken;
            inAThread([&] { taken = symbol<QString(void*)>("_ZN10CHIDDevice9getBufferEv")(this); });
            return isListening && taken.toStdString() == sent &&
                   callMember(record.handler, sent.data()) == 0 &&
                   symbol<QString>(record.store)[1].toStdString() == m_value;
        });
    }

    void stopReceiver() {
        *symbol<std::atomic<bool>>("g_hidRun") = false;
        const auto& descriptor = *symbol<std::atomic<int>>("g_fd");
        demand(waitUntil([&] { return descriptor < 0; }), "the receiver does not stop");
    }

    QJsonObject call(const QJsonObject& row) {
        QJsonObject request = row["members"].toObject();
        request["transCode"] = row["code"];
        const QByteArray text = QJsonDocument(request).toJson(QJsonDocument::Compact);
        QByteArray response(128 * 1024, '\0');
        int length = 0;
        const auto begin = Clock::now();
        const auto entry = symbol<int(const char*, int, char*, int*)>("PDA_CommonCall");
        inAThread([&] { entry(text, text.size(), response.data(), &length); });
        ++m_calls;
        response.truncate(length);
        const QJsonObject answer = QJsonDocument::fromJson(response).object();
        demand(answer["transCode"] == row["code"], (text + " is answered with " + response).toStdString());
        demand(Clock::now() - begin < 30s, text.toStdString() + " has taken more than 30 s");
        return answer;
    }

    /// Members that the row does not name are empty or 0.
    bool isRight(const QJsonObject& row) {
        m_terminal->clearFaults();
        m_terminal->changeState([this](pdasim::TerminalState& state) {
            state.identity.eimi = "860123456789012" + m_value;
            state.files.offered[9] = "aa" + m_file;
            state.tellers.registered = "T0815";
            state.writtenLabels.clear(); // the next one is the first again
            state.scan.labels.clear();
            state.locks.resize(1);
            state.locks[0].id = m_value;
        });
        if (m_terminal->nodePath().empty()) {
            m_terminal->replug();
        }
        QJsonObject answer = call(row);
        answer.remove("transCode");
        const QJsonObject expected = row["response"].toObject();
        for (const QString& name : answer.keys()) {
            if (!expected.contains(name) && answer[name].toString().isEmpty() && answer[name].toInt() == 0) {
                answer.remove(name);
            }
        }
        return answer == expected &&
               (row["code"] != "600015" || m_terminal->state().files.sent[9].text() == m_file);
    }

    void expectRight(const QJsonObject& row) {
        expect(row["code"].toString().toStdString(), [&] { return isRight(row); });
    }

    /// A reply has 100 ms, and others may keep the machine busy: it is tried a second time.
    void expect(const std::string& what, const std::function<bool()>& succeeds) {
        if (!succeeds()) {
            ++m_repeated;
            std::cerr << "round " << m_rounds << " repeats: " << what << std::endl;
            demand(succeeds(), what + " does not give what it should");
        }
    }

    /// One stamp in each line, in front of it. The line of the device has a line feed of its own.
    static void checkLog() {
        static const QRegularExpression entry(
            R"(^(\d{4}-\d\d-\d\d \d\d:\d\d:\d{5}) (MESSAGE  |ERROR  |WARNING  |INFO     ): (?!.*(?1)))");
        QString log = QString::fromStdString(readFile(logPath() + ".1") + readLogText());
        log.replace(QRegularExpression("(VID/PID: .*\n)\n"), "\\1");
        demand(log.endsWith('\n'), "the end of the log is torn");
        for (const QString& line : log.split('\n', Qt::SkipEmptyParts)) {
            demand(entry.match(line).hasMatch(), "a line of the log is torn: " + line.toStdString());
        }
    }

    template <typename Type>
    Type* symbol(const std::string& name) const {
        void* const found = dlsym(m_library, name.c_str());
        demand(found != nullptr, "no " + name);
        return reinterpret_cast<Type*>(found);
    }
    /// The class has no data: any place is an object of it.
    template <typename... Parameters>
    int callMember(const std::string& name, Parameters*... parameters) {
        const QString types = "EPc" + QString("S0_").repeated(sizeof...(parameters) - 1);
        const auto member =
            symbol<int(void*, Parameters*...)>("_ZN15CPDAXMLAnalysis" + name + types.toStdString());
        int result = 0;
        inAThread([&] { result = member(this, parameters...); });
        return result;
    }

    QJsonObject anyRow() { return m_rows.at(draw(19)).toObject(); }
    /// A number from 0 to below `count`.
    int draw(int count) { return static_cast<int>(m_random() % static_cast<unsigned int>(count)); }

    const std::string kLibrary = privateDirectory() + "/libpdalink.so.1";
    std::minstd_rand m_random;
    pdasim::TestBed m_testBed;
    std::optional<pdasim::SimulatedTerminal> m_terminal;
    void* m_library = nullptr;
    QJsonArray m_rows; ///< a request of each code, and what is right in its response
    std::string m_value;
    std::string m_file;
    std::size_t m_rounds = 0;
    int m_calls = 0;
    int m_repeated = 0;
};

} // namespace

int main(int argc, char** argv) {
    if (!isSupervised()) {
        supervise({PDALINK_SOAK_LIBRARY, "libpdalink.so.1", PDALINK_TEST_SUPPRESSIONS "/leaks.supp",
                   PDALINK_TEST_SUPPRESSIONS "/threads.supp"},
                  argv);
    }
    const auto seconds = std::chrono::seconds(argc > 1 ? std::stoi(argv[1]) : 0);
    const auto seed = argc > 2 ? static_cast<unsigned int>(std::stoul(argv[2])) : std::random_device()();
    std::cerr << "seed " << seed << std::endl;
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    try {
        Host(seed).run(seconds);
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::cerr << "failed: " << failure.what() << std::endl;
        return EXIT_FAILURE;
    }
}
