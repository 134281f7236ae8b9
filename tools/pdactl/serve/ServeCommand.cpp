#include "Commands.h"
#include "Signals.h"
#include "listen/Inbox.h"
#include "serve/LineRequest.h"

#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>
#include <QSocketNotifier>
#include <QTimer>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
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
constexpr int kMaxRead = 65536;            // bytes of a client that are read at a time

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
        m_rest += bytes;
        m_isTooLong = m_isTooLong || m_rest.size() > kMaxLine;
        if (m_isTooLong) {
            m_rest = QByteArray();
        }
    }

    QByteArray m_rest;
    bool m_isTooLong = false;
};

/// A client at a socket, or at standard input and output. What it is to read last is written to its
/// descriptor, a copy of the one that it is written to.
class Client : public QObject {
public:
    explicit Client(int descriptor) : m_descriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0)) {}
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client() override { ::close(m_descriptor); }

    virtual void write(const QByteArray& line) = 0;
    int descriptor() const { return m_descriptor; }

    /// Goes on reading only when every line read so far has been taken, so that a flood of them waits where
    /// it comes from. False when there was nothing.
    bool readOn() {
        const QByteArray bytes = m_requests.empty() ? read(kMaxRead) : QByteArray();
        for (const QByteArray& line : m_lines.add(bytes)) {
            m_requests.push_back(line);
        }
        return !bytes.isEmpty();
    }
    std::optional<QByteArray> nextRequest() {
        if (m_requests.empty()) {
            return std::nullopt;
        }
        const QByteArray line = m_requests.front();
        m_requests.pop_front();
        return line;
    }

protected:
    /// What has come, up to a number of bytes; does not wait.
    virtual QByteArray read(int size) = 0;
    void forgetRequests() { m_requests.clear(); }

private:
    int m_descriptor;
    Lines m_lines;
    std::deque<QByteArray> m_requests;
};

/// Answers lines, and tells all clients what the terminal starts. The library takes one call at a time: the
/// clients have their requests carried out in turn.
class Server {
public:
    Server(ServeOptions options, const Settings& settings)
        : m_options(std::move(options)), m_settings(settings), m_host(settings) {
        m_host.lastLines = [this](const QJsonObject& failure) { return lastLines(failure); };
    }

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

    void workSoon() {
        QTimer::singleShot(0, &m_context, [this] { work(); });
    }

    /// Does not run inside itself: while the library waits, Qt's events are processed.
    void work() {
        if (std::exchange(m_isBusy, true)) {
            return;
        }
        do {
            takeEvents();
        } while (answerEach());
        m_isBusy = false;
        if (m_isAtEnd) {
            QCoreApplication::quit();
        }
    }

    /// One request of each client. False when there was nothing to do.
    bool answerEach() {
        bool isIdle = true;
        for (const QPointer<Client>& client : std::vector(m_clients)) {
            isIdle = !(client != nullptr && client->readOn()) && isIdle;
            if (const auto line = client != nullptr ? client->nextRequest() : std::nullopt) {
                isIdle = false;
                m_asking = client;
                tell(client, answerTo(m_host, *line, m_settings, m_askingId));
                m_asking = nullptr;
            }
        }
        return !isIdle;
    }

    /// Whoever asked gets it as the answer, with its id; for all others it is the end.
    std::vector<LastLine> lastLines(const QJsonObject& failure) const {
        std::vector<LastLine> lines;
        for (const QPointer<Client>& client : m_clients) {
            if (client != nullptr) {
                const bool isAnswer = client == m_asking;
                lines.push_back(
                    {client->descriptor(), lineOf(isAnswer ? withId(failure, m_askingId) : failure)});
            }
        }
        return lines;
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
            client->write(lineOf(object));
        }
    }

    ServeOptions m_options;
    const Settings& m_settings;
    Host m_host;
    Inbox m_inbox{m_host};
    QObject m_context;
    QLocalServer m_socket;
    std::vector<QPointer<Client>> m_clients;
    QPointer<Client> m_asking; ///< whose request is being carried out
    QJsonValue m_askingId;
    bool m_isBusy = true; ///< while the library is called, at the beginning for the opening
    bool m_isAtEnd = false;
    std::string m_lastFailure;
};

/// The one client whose end is the server's end.
class Server::StandardStreams : public Client {
public:
    explicit StandardStreams(Server& server)
        : Client(STDOUT_FILENO), m_server(server), m_input(STDIN_FILENO, QSocketNotifier::Read) {
        connect(&m_input, &QSocketNotifier::activated, this, [this] {
            m_input.setEnabled(false); // until it is read
            m_server.workSoon();
        });
    }

    void write(const QByteArray& line) override {
        std::cout << line.constData() << std::flush;
        m_server.m_isAtEnd = m_server.m_isAtEnd || !std::cout;
    }

private:
    QByteArray read(int size) override {
        if (m_input.isEnabled() || m_server.m_isAtEnd) {
            return {};
        }
        QByteArray bytes(size, Qt::Uninitialized);
        const ssize_t length = ::read(STDIN_FILENO, bytes.data(), static_cast<std::size_t>(size));
        m_server.m_isAtEnd = length == 0 || (length < 0 && errno != EINTR && errno != EAGAIN);
        m_input.setEnabled(!m_server.m_isAtEnd);
        bytes.truncate(std::max(static_cast<int>(length), 0));
        return bytes;
    }

    Server& m_server;
    QSocketNotifier m_input;
};

class Server::SocketClient : public Client {
public:
    SocketClient(Server& server, QLocalSocket* socket)
        : Client(static_cast<int>(socket->socketDescriptor())), m_socket(socket) {
        socket->setParent(this);
        socket->setReadBufferSize(kMaxRead);
        connect(socket, &QLocalSocket::readyRead, this, [&server] { server.workSoon(); });
        connect(socket, &QLocalSocket::disconnected, this, [this] {
            forgetRequests();
            deleteLater();
        });
    }

    void write(const QByteArray& line) override {
        (void)m_socket->write(line);
        (void)m_socket->flush(); // nothing waits for the end of the next call
        if (m_socket->bytesToWrite() > kMaxUnread) {
            complain("warning: a client that does not read is given up");
            m_socket->abort();
        }
    }

private:
    QByteArray read(int size) override { return m_socket->read(size); }

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
    (void)setTemporaryFile(path.toStdString());
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
