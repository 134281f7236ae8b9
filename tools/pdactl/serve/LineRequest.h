#pragma once

#include "Host.h"

#include <QByteArray>
#include <QJsonObject>

namespace pdactl {

/// Carries out one line of `pdactl serve`: a JSON object with a code ("transCode") or a member of the library
/// ("call") and its parameters by their names in JSON. Returns the line that answers it, with the "id" that
/// the request has, which is in `id` from the moment at which it is known. Nothing is thrown: a line that
/// makes no sense is answered with what is wrong about it. Values of the request are never repeated. A null
/// line stands for one that was too long.
QJsonObject answerTo(const Host& host, const QByteArray& line, const Settings& settings, QJsonValue& id);

/// An answer with the id of its request; without one for an undefined id.
QJsonObject withId(QJsonObject answer, const QJsonValue& id);

} // namespace pdactl
