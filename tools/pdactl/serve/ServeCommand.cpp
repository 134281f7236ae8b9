#include "Commands.h"
#include "Signals.h"
#include "listen/Inbox.h"
#include "serve/LineRequest.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>
#include <QSocketNotifier>
#include <QTimer>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <deque>
#include <filesystem>
#include <iostream>
#include <utility>

namespace pdactl {

namespace {

constexpr int kLookInterval = 20;          // ms, for messages that the terminal starts
constexpr int kMaxLine = 16 * 1024 * 1024; // bytes; files go by their paths
constexpr qint64 kMaxUnread = kMaxLine;    // bytes, of a client that does not read

struct ServeOptions {
    std::string socket;        ///< its path; empty for standard input and output
    std::string answerToLogin; ///< six digits; empty for no answer
};

/// Cuts what a client sends into lines.
class Lines {
public:
    /// The whole lines, without empty ones; one that is too long is null.
    std::vector<QByteArray> add(const QByteArray& bytes) {
        std::vector<QByteArray> lines;
        int begin = 0;
        for (int end = bytes.indexOf('\n'); end >= 0; end = bytes.indexOf('\n', begin)) {
            append(bytes.mid(begin, end - begin));
            begin = end + 1;
            if (m_isTooLong || !m_rest.trimmed().isEmpty()) {
                lines.push_back(m_rest);
            }
            m_rest.clear();
            m_isTooLong = false;
        }
        append(bytes.mid(begin));
        return lines;
    }

private:
    void append(const QByteArray& bytes) {
        m_isTooLong = m_isTooLong || m_rest.size() + bytes.size() > kMaxLine;
        m_rest = m_isTooLong ? QByteArray() : m_rest + bytes;
    }

    QByteArray m_rest;
    bool m_isTooLong = false;
};

/// A client at a socket, or at standard input and output.
class Client : public QObject {
public:
    virtual void write(const QByteArray& line) = 0;

    Lines lines;
};

/// Answers lines, and tells all clients what the terminal starts. The library takes one call at a time: what
/// comes during one waits in a queue.
class Server {
public:
    Server(ServeOptions options, const Settings& settings)
        : m_options(std::move(options)), m_settings(settings), m_host(settings) {}

    int run() {
        listen();
        survive([this] { (void)m_inbox.open(); });
        m_isBusy = false;
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, [this] { work(); });
        timer.start(kLookInterval);
        (void)QCoreApplication::exec();
        return Success; // unless an answer could not be printed, which the program looks for at its end
    }

private:
    class StandardStreams;
    class SocketClient;

    void listen();

    void take(Client* client, const QByteArray& bytes) {
        for (const QByteArray& line : client->lines.add(bytes)) {
            m_requests.emplace_back(client, line);
        }
        QTimer::singleShot(0, &m_context, [this] { work(); });
    }

    /// Does not run inside itself: while the library waits, Qt's events are processed.
    void work() {
        if (std::exchange(m_isBusy, true)) {
            return;
        }
        do {
            answerNext();
            takeEvents();
        } while (!m_requests.empty());
        m_isBusy = false;
        if (m_isAtEnd) {
            QCoreApplication::quit();
        }
    }

    void answerNext() {
        if (m_requests.empty()) {
            return;
        }
        const auto [client, line] = std::move(m_requests.front());
        m_requests.pop_front();
        if (client != nullptr) {
            tell(client, answerTo(m_host, line, m_settings));
        }
    }

    void takeEvents() {
        survive([this] {
            m_inbox.keepOpen();
            while (const std::optional<TerminalMessage> message = m_inbox.take()) {
                tellAll(*message);
            }
        });
    }

    /// The ini, or a device, may be such that the library would make the process exit. Requests are answered
    /// with that; here people are told, once.
    template <typename Body>
    void survive(const Body& body) {
        try {
            body();
        } catch (const Failure& reason) {
            if (std::exchange(m_lastFailure, reason.what()) != reason.what()) {
                complain(reason.what());
            }
        }
    }

    void tellAll(const TerminalMessage& message) {
        QJsonObject event = message.json();
        event.insert("event", event.take("kind"));
        if (message.isLogin() && !m_options.answerToLogin.empty()) {
            event.insert("answered", m_inbox.answerLogin(message, m_options.answerToLogin));
        }
        for (const QPointer<Client>& client : std::vector(m_clients)) {
            tell(client, event);
        }
    }

    static void tell(const QPointer<Client>& client, const QJsonObject& object) {
        if (client != nullptr) { // it may have gone meanwhile
            client->write(QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
        }
    }

    ServeOptions m_options;
    const Settings& m_settings;
    Host m_host;
    Inbox m_inbox{m_host};
    QObject m_context;
    QLocalServer m_socket;
    std::vector<QPointer<Client>> m_clients;
    std::deque<std::pair<QPointer<Client>, QByteArray>> m_requests;
    bool m_isBusy = true; ///< while the library is called, at the beginning for the opening
    bool m_isAtEnd = false;
    std::string m_lastFailure;
};

/// The one client whose end is the server's end.
class Server::StandardStreams : public Client {
public:
    explicit StandardStreams(Server& server)
        : m_server(server), m_input(STDIN_FILENO, QSocketNotifier::Read) {
        connect(&m_input, &QSocketNotifier::activated, this, [this] { read(); });
    }

    void write(const QByteArray& line) override {
        std::cout << line.constData() << std::flush;
        m_server.m_isAtEnd = m_server.m_isAtEnd || !std::cout;
    }

private:
    void read() {
        std::array<char, 65536> bytes{};
        const ssize_t size = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (size > 0) {
            m_server.take(this, {bytes.data(), static_cast<int>(size)});
        } else if (size == 0 || (errno != EINTR && errno != EAGAIN)) {
            m_input.setEnabled(false);
            m_server.m_isAtEnd = true; // once everything is answered
            m_server.take(this, {});
        }
    }

    Server& m_server;
    QSocketNotifier m_input;
};

class Server::SocketClient : public Client {
public:
    SocketClient(Server& server, QLocalSocket* socket) : m_server(server), m_socket(socket) {
        socket->setParent(this);
        connect(socket, &QLocalSocket::readyRead, this, [this] { m_server.take(this, m_socket->readAll()); });
        connect(socket, &QLocalSocket::disconnected, this, &QObject::deleteLater);
    }

    void write(const QByteArray& line) override {
        (void)m_socket->write(line);
        if (m_socket->bytesToWrite() > kMaxUnread) {
            complain("warning: a client that does not read is given up");
            m_socket->abort();
        }
    }

private:
    Server& m_server;
    QLocalSocket* m_socket;
};

[[noreturn]] void refuse(const QString& path, const std::string& reason) {
    throw Failure(LocalFailure, "Cannot listen at " + path.toStdString() + ": " + reason +
                                    ". Give another path with --socket.");
}

/// What is listened at replaces whatever has the path: the socket of a server that was killed may go, nothing
/// else.
void requireFree(const QString& path) {
    namespace fs = std::filesystem;
    QLocalSocket client;
    client.connectToServer(path);
    if (client.waitForConnected()) {
        refuse(path, "another process does");
    }
    std::error_code unknown;
    const fs::file_status status = fs::symlink_status(path.toStdString(), unknown);
    if (fs::exists(status) && !fs::is_socket(status)) {
        refuse(path, "it is a file");
    }
}

void Server::listen() {
    if (m_options.socket.empty()) {
        m_clients.emplace_back(new StandardStreams(*this));
        m_clients.back()->setParent(&m_context);
        return;
    }
    const QString path = QFileInfo(QString::fromStdString(m_options.socket)).absoluteFilePath();
    requireFree(path);
    m_socket.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_socket.listen(path)) {
        refuse(path, m_socket.errorString().toStdString());
    }
    setTemporaryFile(path.toStdString());
    (void)QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    QObject::connect(&m_socket, &QLocalServer::newConnection, [this] {
        auto* const client = new SocketClient(*this, m_socket.nextPendingConnection());
        client->setParent(&m_context);
        m_clients.emplace_back(client);
        m_clients.erase(std::remove(m_clients.begin(), m_clients.end(), nullptr), m_clients.end());
    });
    complain("listening at " + m_options.socket);
}

std::string callList() {
    std::string list = "Calls:\n";
    for (const Transaction& transaction : allTransactions()) {
        if (transaction.code.empty() && !transaction.isHandler && !transaction.command.empty()) {
            list += "  " + transaction.member + ":";
            for (const Parameter& parameter : transaction.parameters) {
                list += std::string(" ") + parameter.name;
            }
            list += "\n";
        }
    }
    return list;
}

} // namespace

void addServeCommand(Program& program) {
    const auto options = std::make_shared<ServeOptions>();
    CLI::App* const command = program.app.add_subcommand(
        "serve", "Answer requests that come as lines of JSON, and tell what the terminal starts");
    command->add_option("--socket", options->socket,
                        "listen at this path, for this user only, instead of standard input");
    command->add_option("--answer-login", options->answerToLogin,
                        "answer every login with this code, 000000 to let the user in");
    command->footer(
        "A line is a request as in 'pdactl call', or {\"call\":\"GetLockInfo\",\"lockId\":\"L1\"}; an "
        "\"id\" in it comes back in the answer. Secrets are given as they are, and never repeated. "
        "600015 and 600016 take \"file\":\"PATH\" in place of the file's digits.\n"
        "Example: echo '{\"id\":1,\"transCode\":\"600002\"}' | pdactl serve\n\n" +
        callList());
    setAction(*command, program, [&program, options] {
        if (!options->answerToLogin.empty()) {
            requireAnswer(options->answerToLogin);
        }
        return Server(*options, program).run();
    });
}

} // namespace pdactl
