#include "Log.h"
#include "LogLines.h"
#include "SecretForms.h"

#include <array>
#include <map>

using namespace pdactl::log;
using namespace pdactl::log::test;

namespace {

/// Of characters that an input does not have anywhere else, so that no part of it can hide.
const std::string kSecret = "^~^~^~";

std::string withoutSecret(std::string text) {
    for (char& each : text) {
        each = each == '^' || each == '~' || each == '\n' ? '_' : each;
    }
    return text;
}

/// A message of a terminal with secrets among values that are none.
std::string messageOf(fuzz::Input& input) {
    constexpr std::array<const char*, 6> types{"8013", "9002", "8016", "7019", "7012", "8001"};
    constexpr std::array<const char*, 5> names{"Ex_Tid", "Ex_Name", "Ex_RetCode", "LockList", "Ex_Msg"};
    const char* const type = types.at(input.below(types.size()));
    std::string tags;
    for (std::size_t left = 1 + input.below(4); left > 0; --left) {
        const std::size_t name = input.below(41 + names.size()); // the first 41 are tags of secrets
        const std::string plain = withoutSecret(input.line()).substr(0, 40);
        const std::string secret =
            name % 2 == 0 ? kSecret : std::string(kSecret).append(plain).append(kSecret);
        tags += name < 41 ? tag(plantedNames().at(name), secret) : tag(names.at(name - 41), plain);
    }
    return message(type, tags);
}

/// The ways in which pieces of a message get into a log.
std::string logOf(const std::array<std::string, 3>& pieces, std::size_t way, const std::string& between) {
    LogText log;
    if (way == 0) {
        log.request(R"({"transCode":"600013"})")
            .step("[GetKeyVerificationValue] begin")
            .written(message("8013", ""));
    }
    if (way == 3) { // the log begins in the middle
        log.raw(pieces[0] + "\n");
    }
    if (way == 4) { // reports were lost
        return log.read(pieces[0] + pieces[2]).getInfo().text();
    }
    for (std::size_t i = way == 3 ? 1 : 0; i < pieces.size(); ++i) {
        if (way == 1) {
            log.step("[GetLockInfo] begin").written(message("7016", ""));
        }
        log.after(100).read(pieces[i]);
        const std::string type = pieces[i].size() > 6 ? pieces[i].substr(6, 4) : std::string();
        if (way == 2) {
            log.step("[ReceiveLoginData] begin");
        } else {
            log.step("Xml Type:" + type + " len:" + std::to_string(type.size()));
            log.step("Read XML:" + pieces[i] + " ---Wrong Command --Delete");
        }
        log.info(between);
    }
    return log.text();
}

void requireNoSecret(const std::string& log) {
    std::vector<Entry> entries = readEntries(log);
    Redactor().redact(entries);
    const std::string shown = fuzz::bytesOf(entries);
    fuzz::require(shown.find_first_of(kSecret) == std::string::npos, log + "\nshows a secret:\n" + shown);
    const std::string page = htmlPage(fuzz::reportOf(entries));
    fuzz::require(page.find_first_of(kSecret) == std::string::npos, log + "\nshows a secret in its page");
}

/// A secret in one of the forms in which a host or a terminal may bring it, before another line.
void checkForm(fuzz::Input& input) {
    static std::map<std::string, std::vector<SecretForm>> formsByName;
    const std::string& name = plantedNames().at(input.below(plantedNames().size()));
    std::vector<SecretForm>& forms = formsByName[name];
    forms = forms.empty() ? secretForms(name) : std::move(forms);
    const std::size_t number = input.below(256) * 256 + input.below(256);
    const std::string& form = forms.at(number % forms.size()).log;
    const std::string after = LogText().step(withoutSecret(input.line())).text();
    std::string planted;
    for (std::size_t at = 0, next = 0; at < form.size(); at = next) { // the secret in its own characters
        next = std::min(form.find(kPlanted, at), form.size());
        planted += form.substr(at, next - at) + (next < form.size() ? kSecret : "");
        next += next < form.size() ? kPlanted.size() : 0;
    }
    requireNoSecret(planted + after);
}

} // namespace

/// Logs in which secrets are: nothing that is made of them may show one.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::size_t way = input.below(6);
    if (way == 5) {
        checkForm(input);
        return 0;
    }
    const std::size_t place = input.below(256);
    const std::size_t length = input.below(256);
    const std::string whole = messageOf(input);
    const std::string between = withoutSecret(input.rest());
    const std::size_t first = std::min(place, whole.size());
    const std::size_t second = std::min(first + length, whole.size());
    requireNoSecret(logOf({whole.substr(0, first), whole.substr(first, second - first), whole.substr(second)},
                          way, between));
    return 0;
}
