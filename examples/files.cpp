// Files: sends one to the terminal, and fetches one.
//
//     pdasim run -- files FILE_TO_SEND FILE_TO_WRITE

#include "Host.h"

#include <QFile>

#include <cstdlib>
#include <memory>

using namespace example;

namespace {

/// A file travels as hexadecimal digits. The command is the number by which the terminal knows it.
void send(const QString& path) {
    QFile file(path);
    require(file.open(QIODevice::ReadOnly), "cannot read " + path.toStdString());
    const QString digits = file.readAll().toHex();
    ask({{"transCode", "600015"},
         {"pdaNumber", kNumber},
         {"pCmdEx", 1},
         {"pInfoEx", "settings"},
         {"pFilePath", digits}});
    show("digits sent", QString::number(digits.size()));
}

/// By the member: the response of 600016 has no room for large files.
void fetch(const QString& path) {
    constexpr std::size_t kLargest = 600'000'000; // memory is used only as far as the file goes
    const std::unique_ptr<char, void (*)(void*)> digits(static_cast<char*>(std::calloc(kLargest, 1)),
                                                        std::free);
    require(digits != nullptr, "no memory");
    CPDAXMLAnalysis library;
    int command = 7;
    Text code;
    require(library.ReceiveDataSaveToFile(Text(kNumber), &command, Text("report"), digits.get(), code) == 0 &&
                code.value() == "000000",
            "no file was fetched: " + code.value().toStdString());
    QFile file(path);
    const QByteArray bytes = QByteArray::fromHex(digits.get());
    require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush(),
            "cannot write " + path.toStdString());
    show("bytes fetched", QString::number(bytes.size()));
}

} // namespace

int main(int argc, char** argv) {
    static char** const paths = argv;
    return argc != 3 ? 2 : run([] {
        send(QFile::decodeName(paths[1]));
        fetch(QFile::decodeName(paths[2]));
    });
}
