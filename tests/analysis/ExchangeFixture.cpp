#include "ExchangeFixture.h"

#include <QTimer>
#include <array>
#include <cstdio>
#include <tuple>
#include <utility>

using pdasim::Fault;

bool Information::operator==(const Information& other) const {
    return std::tie(result, sn, bleVersion, pdaVersion, retCode) ==
           std::tie(other.result, other.sn, other.bleVersion, other.pdaVersion, other.retCode);
}

void PrintTo(const Information& information, std::ostream* stream) {
    *stream << "result " << information.result << ", sn \"" << information.sn << "\", bleVersion \""
            << information.bleVersion << "\", pdaVersion \"" << information.pdaVersion << "\", retCode \""
            << information.retCode << '"';
}

bool Initialisation::operator==(const Initialisation& other) const {
    return std::tie(result, sn, vender, retCode) ==
           std::tie(other.result, other.sn, other.vender, other.retCode);
}

void PrintTo(const Initialisation& initialisation, std::ostream* stream) {
    *stream << "result " << initialisation.result << ", sn \"" << initialisation.sn << "\", vender \""
            << initialisation.vender << "\", retCode \"" << initialisation.retCode << '"';
}

ExchangeTest::ExchangeTest() : ExchangeTest(pdasim::SimulatedTerminal::Options()) {
}

ExchangeTest::ExchangeTest(pdasim::SimulatedTerminal::Options options) : ChannelTest(std::move(options)) {
    m_SeqNo = 0;
    m_PerformTasksYN = 0;
    newLogTexts(); // passes over what the analyser's construction has logged
}

ExchangeTest::~ExchangeTest() {
    for (const std::string& violation : terminal().violations()) {
        ADD_FAILURE() << "the terminal objects: " << violation;
    }
}

Information ExchangeTest::getInfo() {
    OutputBuffer sn;
    OutputBuffer bleVersion;
    OutputBuffer pdaVersion;
    OutputBuffer retCode;
    const int result = m_analyser.GetInfo(sn.data(), bleVersion.data(), pdaVersion.data(), retCode.data());
    return {result, sn.written(), bleVersion.written(), pdaVersion.written(), retCode.written()};
}

Initialisation ExchangeTest::init(const char* pdaNumber, const char* factory) {
    OutputBuffer sn;
    OutputBuffer vender;
    OutputBuffer retCode;
    // The parameters are older than const.
    const int result = m_analyser.Init(const_cast<char*>(pdaNumber), const_cast<char*>(factory), sn.data(),
                                       vender.data(), retCode.data());
    return {result, sn.written(), vender.written(), retCode.written()};
}

std::string ExchangeTest::call(const std::string& request) {
    std::string response(130000, '\0');
    int length = -1;
    m_analyser.PDA_CommonCall(request.c_str(), static_cast<int>(request.size()), response.data(), &length);
    return response.substr(0, static_cast<std::size_t>(std::max(length, 0)));
}

std::string ExchangeTest::newMessage() {
    const std::vector<std::string> received = terminal().received();
    EXPECT_EQ(received.size(), m_messagesSeen + 1);
    m_messagesSeen = received.size();
    return received.empty() ? std::string() : received.back();
}

Information ExchangeTest::usualInformation() {
    const pdasim::Identity identity;
    return {0, identity.eimi, identity.bleVersion, identity.pdaVersion, identity.returnCode};
}

Initialisation ExchangeTest::usualInitialisation() {
    const pdasim::Identity identity;
    return {0, identity.eimi, identity.vendor, identity.returnCode};
}

std::string ExchangeTest::message(const std::string& type, const std::string& tags) {
    const std::string rest = type + "QEV   " + std::string(24, '0') + std::string(8, ' ') + "05" + tags;
    std::array<char, 32> length{};
    // Characters, which are what Qt's text counts.
    const int characters = 6 + QString::fromStdString(rest).size();
    (void)std::snprintf(length.data(), length.size(), "%06d", characters);
    return length.data() + rest;
}

std::string ExchangeTest::tag(const std::string& name, const std::string& value) {
    return std::string("<").append(name).append(">").append(value).append("</").append(name).append(">");
}

std::string ExchangeTest::informationReply(const Information& information) {
    return message("8001", tag("Ex_TrTime", "20260102030405") + tag("Ex_SeqNo", "0001") +
                               tag("Ex_EIMI", information.sn) + tag("Ex_BleVer", information.bleVersion) +
                               tag("Ex_PdaVer", information.pdaVersion) +
                               tag("Ex_RetCode", information.retCode));
}

std::string ExchangeTest::initialisationReply(const Initialisation& initialisation) {
    return message("8002", tag("Ex_TrTime", "20260102030405") + tag("Ex_SeqNo", "0001") +
                               tag("Ex_EIMI", initialisation.sn) + tag("Ex_Vender", initialisation.vender) +
                               tag("Ex_RetCode", initialisation.retCode));
}

void ExchangeTest::answerWith(const std::string& type, const std::string& text) {
    terminal().addFault(type, Fault().rawReply(text));
}

void ExchangeAmongEvents::duringTheNextWait(const std::function<void()>& action) {
    QTimer::singleShot(0, action);
}

void ExchangeAmongEvents::answerWhole(const std::string& type, const std::string& text) {
    terminal().addFault(type, Fault().silence());
    duringTheNextWait([this, text] {
        terminal().sendText(text);
        EXPECT_TRUE(becomesBuffered(QString::fromStdString(text)));
    });
}
