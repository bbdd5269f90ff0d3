#pragma once

#include <QString>
#include <QUrl>

#include <chrono>
#include <optional>

#include "app/Network.h"

namespace mnemora {

// A reply of the daemon.
using DaemonReply = HttpReply;

// The daemon's HTTP transport, shared by the supervisor (which must talk to a daemon before any
// client has found it) and the client.
namespace DaemonHttp {

inline constexpr std::chrono::milliseconds defaultTimeout{60'000};

// `http://127.0.0.1:{port}`; absent for a port no socket can have.
std::optional<QUrl> baseUrl(std::optional<int> port);

// `path` appended to `base` as a path component ("process/start" gives ".../process/start").
QUrl endpoint(const QUrl& base, const QString& path);

// The words of a call made while the daemon has no port: the same as for a refused connection,
// so that callers need tell the two apart nowhere.
QString unreachableText();

// One request through the application's shared session.
using Network::send;

} // namespace DaemonHttp

} // namespace mnemora
