#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>

#include <map>
#include <string>
#include <vector>

/// JSON Schemas of what pdactl reads and prints. Each is beside the code that prints the document, or follows
/// from the table of transactions.
namespace pdactl::schema {

/// One member of an object, and what its value is.
struct Member {
    QString name;
    QJsonObject value;
    bool isOptional = false;
};
using Members = std::vector<Member>;

/// "name:string count:integer,null": members of these types.
inline Members members(const char* names) {
    Members all;
    for (const QString& each : QString(names).split(' ')) {
        const QStringList types = each.section(':', 1).split(',');
        const QJsonValue several = QJsonArray::fromStringList(types);
        all.push_back({each.section(':', 0, 0), {{"type", types.size() > 1 ? several : types.front()}}});
    }
    return all;
}

/// An object with these members and no others.
inline QJsonObject object(const Members& members) {
    QJsonObject properties;
    QJsonArray required;
    for (const Member& member : members) {
        properties.insert(member.name, member.value);
        if (!member.isOptional) {
            required.append(member.name);
        }
    }
    return {{"type", "object"},
            {"properties", properties},
            {"required", required},
            {"additionalProperties", false}};
}

inline QJsonObject text(const char* pattern) {
    return {{"type", "string"}, {"pattern", pattern}};
}

inline QJsonObject listOf(const QJsonObject& element) {
    return {{"type", "array"}, {"items", element}};
}

/// All of them, by the names that people give to `pdactl schema`.
std::map<std::string, QJsonObject> all();

} // namespace pdactl::schema
