#include "SecretForms.h"

#include "LogLines.h"

#include <utility>

namespace pdactl::log::test {

namespace {

using Texts = std::vector<std::pair<std::string, std::string>>;

/// The text with this in place of every "%".
std::string filled(const std::string& pattern, const std::string& name) {
    std::string text;
    for (const char c : pattern) {
        text += c == '%' ? name : c == '$' ? kPlanted : std::string(1, c);
    }
    return text;
}

std::string escapedFirst(const std::string& name) {
    constexpr const char* digits = "0123456789abcdef";
    const auto first = static_cast<unsigned char>(name.front());
    return std::string("\\u00") + digits[first / 16] + digits[first % 16] + name.substr(1);
}

Texts tagTexts(const std::string& name) {
    const Texts patterns{
        {"parsed", "<Ex_PdaSn>1</Ex_PdaSn><%>$</%><Ex_Tid>2</Ex_Tid>"},
        {"twice", "<%>$</%><%>$</%>"},
        {"opened twice", "<%>$<%>$</%>"},
        {"with a line end", "<%>$\n$</%>"},
        {"with other tags inside", "<%>$<Ex_Tid>$</Ex_Tid>$</%>"},
        {"with blanks in the tag", "<% >$</% >"},
        {"cut", "<Ex_Tid>2</Ex_Tid><%>$"},
        {"cut on several lines", "<%>$\n$\n$"},
        {"cut in the closing tag", "<%>$</"},
        {"closed by another", "<%>$</Ex_Tid>$"},
        {"without its beginning", "$</%>"},
    };
    Texts texts;
    for (const auto& [form, pattern] : patterns) {
        texts.emplace_back("tag " + form, filled(pattern, name));
    }
    std::string upper = filled("<%>$</%>", name);
    for (char& c : upper) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    texts.emplace_back("tag in capitals", upper);
    return texts;
}

Texts jsonTexts(const std::string& name) {
    const Texts patterns{
        {"parsed", R"({"a":"b","%":"$","c":1})"},
        {"with blanks", "{\n  \"%\" : \"$\" ,\n  \"c\" : 1\n}"},
        {"with escapes", R"({"%":"$\"$\\$\u0041$\/$","c":1})"},
        {"twice", R"({"%":"$","%":"$"})"},
        {"as a number's neighbour", R"({"%":1,"%":"$"})"},
        {"as a list", R"({"%":["$",["$"]],"c":1})"},
        {"as several values", R"({"%":"$","$"})"},
        {"as several lists", R"({"%":["a"],["$"],"c":1})"},
        {"as a list in single quotes", R"({"%":['a',']','$'],"c":1})"},
        {"after its name in a list", R"({"l":["a","%","$"],"c":1})"},
        {"in a list after one of names", R"({"l":["%"],"m":["$"]})"},
        {"beside its name", R"({"l":[{"name":"%","value":"$"}]})"},
        {"in a list in a string", R"({"a":"[\"%\",\"$\"]"})"},
        {"with an index", R"({"%[0]":"$"})"},
        {"as an object", R"({"%":{"x":"$","y":"}$"},"c":1})"},
        {"in an object", R"({"o":{"l":[{"%":"$"}]}})"},
        {"in a string", R"({"a":"{\"%\":\"$\"}"})"},
        {"with escapes in a string", R"({"a":"{\"%\":\"$\\\"$\\\\$\"}"})"},
        {"in a string of a string", R"({"a":"{\"b\":\"{\\\"%\\\":\\\"$\\\"}\"}"})"},
        {"in a string of unicode escapes", R"({"a":"{\u0022%\u0022:\u0022$\u0022}"})"},
        {"as a tag in a string", R"({"a":"<%>$</%>"})"},
        {"as an escaped tag in a string", R"({"a":"<%>$<\/%>","b":1})"},
        {"as a tag of unicode escapes", R"({"a":"\u003c%\u003e$\u003c\/%\u003e"})"},
        {"cut", R"({"a":"b","%":"$)"},
        {"cut after an escape", R"({"%":"$\)"},
        {"cut in a list", R"({"%":["$","$)"},
        {"cut in a string", R"({"a":"{\"%\":\"$)"},
        {"without an end", R"({"%":"$")"},
        {"with a quote inside", R"({"%":"$"$","c":1})"},
        {"without a comma", R"({"%":"$" "c":1})"},
        {"without a colon", R"({"%" "$"})"},
        {"without quotes", R"({%:$,c:1})"},
        {"with a bare value", R"({"%":$ $,$})"},
        {"with a line end", "{\"%\":\"$\n$\"}"},
        {"in single quotes", R"({'%':'$','c':1})"},
        {"as an assignment", R"(transCode=1&%=$)"},
    };
    Texts texts;
    for (const auto& [form, pattern] : patterns) {
        texts.emplace_back("member " + form, filled(pattern, name));
    }
    texts.emplace_back("member with an escaped name", filled(R"({"%":"$"})", escapedFirst(name)));
    texts.emplace_back("member with an escaped name in a string",
                       filled(R"({"a":"{\"\%\":\"$\"}"})", escapedFirst(name)));
    return texts;
}

Texts tagLines(const std::string& tags) {
    const std::string text = message("8012", tags);
    const std::string length = std::to_string(text.size());
    return {
        {"prepared", "600012 SendData pre: " + text},
        {"written", "Write XML: " + text + " sendLen:" + length},
        {"written as bytes", "Write XML1: " + text + " sendLen:" + length},
        {"not written", "Write XML error:" + text + "  sendLen:-1 bufferLen:" + length},
        {"read", "HID Read XML: " + text},
        {"read with a wrong length", "HID Read XML: 999999" + text.substr(6)},
        {"read twice", "HID Read XML: " + text + text},
        {"dropped", "Read XML:" + text + " ---Wrong Command --Delete"},
        {"somewhere", tags},
    };
}

Texts jsonLines(const std::string& json) {
    const std::string length = std::to_string(json.size());
    return {
        {"request", "inJson4:" + json + " inLen:" + length},
        {"request with a wrong length", "inJson4:" + json + " inLen:0"},
        {"response", "outJson:" + json + " outLen:" + length + " ret:0"},
        {"refusal", "info msg:transCode:" + json + " do not have function"},
        {"somewhere", json},
    };
}

void addForms(std::vector<SecretForm>& forms, const std::string& form, const Texts& lines) {
    for (const auto& [line, text] : lines) {
        LogText log;
        log.getInfo().request(R"({"transCode":"600012"})").step("[KeyInit] begin").info(text).getInfo();
        forms.push_back({std::string(form).append(", ").append(line), log.text()});
    }
}

std::string imitation(const std::string& text) {
    return "\n" + stamp(3) + "INFO     : " + text;
}

} // namespace

const std::vector<std::string>& plantedNames() {
    // clang-format off
    static const std::vector<std::string> names{
        "Ex_Key", "Ex_CheckVal", "Ex_EncKey", "Ex_MacKey", "Ex_EncChkVal", "Ex_MacChkVal", "Ex_Pwd",
        "Ex_APwd", "Ex_BPwd", "Ex_CPwd", "Ex_FigData", "Ex_AFigData", "Ex_BFigData", "Ex_CFigData",
        "Ex_Rnd", "Ex_ARnd", "Ex_BRnd", "Ex_CRnd", "Ex_AMacChkVal", "Ex_BMacChkVal", "Ex_CMacChkVal",
        "Ex_OTCCode", "Ex_HexVal", "Ex_PublicKey", "Ex_FactorCDK", "Ex_InitCDKKFV", "Ex_InitCDKKEV",
        "Ex_InitCDKKCV", "Ex_NewCDKKFV", "Ex_NewCDKKEV", "Ex_NewCDKKCV", "Ex_CurrentCDKKFV",
        "Ex_CurrentCDKKEV", "Ex_CurrentCDKKCV", "Ex_NormalUnLockKFV", "Ex_NormalUnLockKEV",
        "Ex_NormalUnLockKCV", "Ex_UrgentUnLockKFV", "Ex_UrgentUnLockKEV", "Ex_UrgentUnLockKCV",
        "Ex_LockRnd", "pKey", "CheckVal", "pCheckVal", "pEncKey", "pMacKey", "pEncChkVal", "pMacChkVal",
        "pFigData", "pAFigData", "pBFigData", "pCFigData", "pRnd", "pARnd", "pBRnd", "pCRnd", "pUserPwd",
        "pAPwd", "pBPwd", "pCPwd", "pAMacChkVal", "pBMacChkVal", "pCMacChkVal", "pFilePath", "Key",
        "password", "userPin", "APIToken2",
    };
    // clang-format on
    return names;
}

std::vector<SecretForm> secretForms(const std::string& name) {
    std::vector<SecretForm> forms;
    for (const auto& [form, tags] : tagTexts(name)) {
        addForms(forms, form, tagLines(tags));
    }
    for (const auto& [form, json] : jsonTexts(name)) {
        addForms(forms, form, jsonLines(json));
    }
    const std::string broken = kPlanted + imitation(kPlanted) + imitation(kPlanted);
    addForms(forms, "tag with imitations", tagLines("<" + name + ">" + broken + "</" + name + ">"));
    addForms(forms, "member with imitations",
             {{"request", "inJson4:{\"" + name + "\":\"" + broken + "\"} inLen:0"}});
    addForms(forms, "short file", {{"line", "file is too short:" + kPlanted}});
    LogText tail;
    tail.getInfo();
    forms.push_back(
        {"tag at the cut beginning", kPlanted + "</" + name + "><Ex_Tid>1</Ex_Tid>\n" + tail.text()});
    forms.push_back({"member at the cut beginning", kPlanted + "\",\"c\":1} inLen:99\n" + tail.text()});
    return forms;
}

} // namespace pdactl::log::test
