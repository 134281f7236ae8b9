#include "Commands.h"
#include "listen/Inbox.h"
#include "log/Report.h"
#include "schema/Schema.h"

#include <QJsonDocument>

#include <climits>
#include <iostream>

namespace pdactl {

namespace schema {

namespace {

using Schemas = std::map<std::string, QJsonObject>;

/// A value that pdactl accepts. The library takes any text.
QJsonObject valueOf(const Parameter& parameter) {
    QJsonObject value = text("^[^<>]*$");
    if (parameter.isInteger()) {
        value = {{"type", "integer"}, {"minimum", INT_MIN}, {"maximum", INT_MAX}};
    } else if (parameter.kind == Kind::Answer) {
        value = text("^[0-9]{6}$");
    } else if (parameter.kind == Kind::Items) {
        value = text("^([^<>]*;)?$");
    } else if (!parameter.mayBeEmpty()) {
        value = text("^[^<>]*[^<> \t\r\n][^<>]*$");
    }
    value.insert("description", parameter.help);
    if (parameter.isSecret()) {
        value.insert("writeOnly", true);
    }
    return value;
}

/// Of a request; of a line for `pdactl serve`, which may leave presets out.
Members membersOf(const Transaction& transaction, bool isLine) {
    Members members;
    for (const Parameter& parameter : transaction.parameters) {
        Member member{parameter.name, valueOf(parameter), isLine && parameter.preset != nullptr};
        if (member.isOptional) {
            member.value.insert("default", parameter.preset);
        }
        members.push_back(member);
    }
    return members;
}

/// Texts, but for two counts that only requests have.
Members outputsOf(const Transaction& transaction) {
    Members members;
    for (const QString name : transaction.outputs) {
        const bool isCount = name == "pLabelSize" || name == "pLabelLen";
        members.push_back({name, {{"type", isCount ? "integer" : "string"}}});
    }
    return members;
}

QJsonObject anyOf(const char* title, const QJsonArray& schemas) {
    return {{"title", title}, {"anyOf", schemas}};
}

/// An object of which the first member says what it is.
QJsonObject named(const char* name, const std::string& value, Members members, const std::string& title) {
    members.insert(members.begin(), {name, {{"const", value.c_str()}}});
    QJsonObject schema = object(members);
    schema.insert("title", title.c_str());
    return schema;
}

/// A line for `pdactl serve`: with its values, or with the path of a file.
void addLines(QJsonArray& lines, const Transaction& transaction) {
    const char* const name = transaction.code.empty() ? "call" : "transCode";
    Members members = membersOf(transaction, true);
    members.push_back({"id", {}, true});
    lines.append(named(name, transaction.name(), members, transaction.help));
    if (transaction.results == Results::Send || transaction.results == Results::Fetch) {
        Members withPath{{"file", text("^.")}};
        for (Member& member : members) {
            member.isOptional = true;
            if (member.name != "pFilePath") {
                withPath.push_back(member);
            }
        }
        lines.append(named(name, transaction.name(), withPath, transaction.help));
    }
}

/// What a request or call has come to, with these members besides.
QJsonArray outcomes(const QJsonArray& responses, const Members& more) {
    Members failure = members("exitCode:integer message:string");
    Members outcome = members("exitCode:integer result:integer message:string");
    outcome.back().isOptional = true;
    outcome.push_back({"response", {{"anyOf", responses}}});
    failure.insert(failure.end(), more.begin(), more.end());
    outcome.insert(outcome.end(), more.begin(), more.end());
    return {object(failure), object(outcome)};
}

void addRequest(Schemas& schemas, const Transaction& code) {
    QJsonObject& request = schemas["request-" + code.code];
    QString title = code.help;
    if (!request.isEmpty()) { // it has several commands
        title = request.value("title").toString() + "; " + title.left(1).toLower() + title.mid(1);
    }
    request = named("transCode", code.code, membersOf(*findCode(code.code), false), title.toStdString());
    schemas["response-" + code.code] =
        named("transCode", code.code, outputsOf(code), "The response to " + code.code);
}

/// Those that follow from the table of transactions.
Schemas ofTransactions() {
    Schemas schemas;
    QJsonArray lines;
    const QJsonObject refused = object({});
    QJsonArray responses{refused,
                         object(members("file:string bytes:integer packets:integer pRetCode:string"))};
    QJsonArray whole{refused, QJsonObject{{"type", "null"}}};
    for (const Transaction& each : allTransactions()) {
        const bool isFirst = schemas.count("request-" + each.code) == 0;
        if (!each.code.empty()) {
            addRequest(schemas, each);
        }
        if (isFirst && (!each.code.empty() || !each.command.empty())) {
            addLines(lines, each);
            responses.append(object(outputsOf(each)));
        }
    }
    QJsonArray documents = outcomes(responses, {});
    documents.append(object(members("exitCode:integer wouldSend:string")));
    schemas["outcome"] = anyOf("A command that makes a request, with --json", documents);
    for (const auto& [name, schema] : schemas) {
        if (name.rfind("response-", 0) == 0) {
            whole.append(schema);
        }
    }
    schemas["call-file"] = anyOf("pdactl call @FILE: the response as it is", whole);
    schemas["serve-request"] = anyOf("A line for pdactl serve", lines);
    schemas["serve-answer"] = anyOf("The line that answers it", outcomes(responses, {{"id", {}, true}}));
    return schemas;
}

} // namespace

std::map<std::string, QJsonObject> all() {
    Schemas schemas = ofTransactions();
    const QJsonObject failure = object(members("exitCode:integer message:string"));
    schemas["serve-event"] = anyOf("What the terminal starts", TerminalMessage::schemas("event"));
    QJsonArray listened = TerminalMessage::schemas("kind");
    listened.append(failure);
    schemas["listen"] = anyOf("A line of pdactl listen --json", listened);
    schemas["doctor"] = anyOf("pdactl doctor --json", {findingsSchema(), failure});
    schemas["udev-rule"] = anyOf("pdactl udev-rule --json", {object(members("rule:string")), failure});
    schemas["log"] = anyOf("pdactl log --json", {log::reportSchema(), failure});
    schemas["log-follow"] = anyOf("A line of pdactl log --follow --json", {log::exchangeSchema(), failure});
    return schemas;
}

} // namespace schema

namespace {

int printSchemas(const std::string& name) {
    QJsonObject document;
    QJsonObject definitions;
    std::string known;
    for (const auto& [each, schema] : schema::all()) {
        known += (known.empty() ? "" : ", ") + each;
        definitions.insert(each.c_str(), schema);
    }
    if (name.empty()) {
        document = {{"title", "What pdactl reads and prints"}, {"$defs", definitions}};
    } else if (!definitions.contains(name.c_str())) {
        throw Failure(BadUsage, "There is no schema \"" + name + "\", but: " + known + ".");
    } else {
        document = definitions.value(name.c_str()).toObject();
    }
    document.insert("$schema", "https://json-schema.org/draft/2020-12/schema");
    std::cout << QJsonDocument(document).toJson().constData();
    return Success;
}

} // namespace

void addSchemaCommand(Program& program) {
    CLI::App* const command = program.app.add_subcommand(
        "schema", "Print JSON Schemas of requests, responses and of what --json and serve print");
    const auto name = std::make_shared<std::string>();
    command->add_option("NAME", *name, "one of them, such as request-600003; all of them unless given");
    addExample(*command, {"schema"}, "serve-answer");
    setAction(*command, program, [name] { return printSchemas(*name); });
}

} // namespace pdactl
