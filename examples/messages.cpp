// Messages that the terminal starts, in a program with Qt's event loop: shows each, and lets every user in.
// Ends after as many as are asked for, else never.
//
//     pdasim run -- messages [COUNT], and in another shell "pdasim ctl scan B0001"

#include "Host.h"

#include <QCoreApplication>
#include <QTimer>

using namespace example;

namespace {

/// What the library does with a message, and where that leaves its fields.
struct Kind {
    const char* type;
    const char* name;
    int (CPDAXMLAnalysis::*handler)(char*);
    QString* fields;
    int count;
};

const Kind kKinds[] = {
    {"9001", "label", &CPDAXMLAnalysis::ReceiveScanResult, pda_ScanLabel, 2},
    {"9002", "login", &CPDAXMLAnalysis::ReceiveLoginData, pda_LoginData, 7},
    {"9003", "user", &CPDAXMLAnalysis::ReceiveRandomNumber, pda_RandomNumber, 2},
    {"9004", "inventory", &CPDAXMLAnalysis::ReceiveInventoryData, pda_GetInventoryRet, 10},
    {"9005", "dot handover", &CPDAXMLAnalysis::ReceiveHandoverDotData, pda_HandoverDotData, 23},
    {"9006", "power handover", &CPDAXMLAnalysis::ReceiveHandoverPowerData, pda_HandoverPowerData, 23},
};

void take(const QString& message) {
    CPDAXMLAnalysis library;
    for (const Kind& kind : kKinds) {
        if (message.mid(6, 4) == kind.type) {
            (library.*kind.handler)(Text(message));
            QString fields;
            for (int i = 0; i < kind.count; ++i) {
                fields += kind.fields[i] + " ";
                kind.fields[i].clear(); // the next label finds its place free
            }
            show(kind.name, fields.trimmed());
        }
    }
    if (message.mid(6, 4) == "9002") {
        (void)library.SyncLoginResult(Text(kNumber), Text("000000"));
    }
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    int remaining = argc > 1 ? QString(argv[1]).toInt() : -1;
    Inbox inbox;
    // Not to be called inside itself, nor inside a request of your own: while the library waits, Qt's events
    // are processed. Stop the timer before each request, and start it again afterwards.
    QTimer timer;
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        for (QString message = inbox.next(); !message.isEmpty(); message = inbox.next()) {
            take(message);
            if (--remaining == 0) {
                QCoreApplication::quit();
            }
        }
        timer.start(20);
    });
    if (const int failed = run([] { ask({{"transCode", "600002"}}); })) { // opens the channel
        return failed;
    }
    std::cout << "listening" << std::endl;
    timer.start(20);
    return QCoreApplication::exec();
}
