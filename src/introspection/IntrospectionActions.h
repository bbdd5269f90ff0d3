#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QPointer>

#include <QCoroTask>

#include <optional>
#include <variant>

#include "introspection/HttpResponse.h"
#include "introspection/IntrospectionServer.h"

namespace mnemora {

// One `POST /action`: the body's keys and the server they act through.
struct ActionCall {
    QPointer<IntrospectionServer> server;
    QJsonObject body;

    // A string key; none when absent or of another type.
    std::optional<QString> string(const char* key) const;
    // A number key; none when absent or of another type.
    std::optional<double> number(const char* key) const;
    bool flag(const char* key) const { return body.value(QLatin1String(key)).toBool(); }

    // The window the body names by `vault` or `window`, the primary one when it names none.
    std::variant<IntrospectionServer::Target, HttpResponse> target() const;

    // 200 with `ok` true and the action's own keys.
    static HttpResponse ok(QJsonObject keys = {});
    // 400 with the words a script needs to fix its call.
    static HttpResponse expect(const QString& words, QJsonObject more = {});
    static HttpResponse notAttached(const char* service);
};

namespace IntrospectionActions {

QCoro::Task<HttpResponse> run(QPointer<IntrospectionServer> server, QByteArray body);

// Every action word, in catalogue order.
QStringList words();

// The actions on overlays and navigation, data and services, windows and input; each answers
// 400 for a word it does not know. Split by what they touch.
std::optional<HttpResponse> runStateAction(const QString& word, const ActionCall& call);
QCoro::Task<std::optional<HttpResponse>> runDataAction(QString word, ActionCall call);
std::optional<HttpResponse> runWindowAction(const QString& word, const ActionCall& call);
std::optional<HttpResponse> runInputAction(const QString& word, const ActionCall& call);

} // namespace IntrospectionActions

} // namespace mnemora
