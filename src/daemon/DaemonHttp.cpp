#include "daemon/DaemonHttp.h"

namespace mnemora {

namespace DaemonHttp {

std::optional<QUrl> baseUrl(std::optional<int> port) {
    if (!port || *port < 1 || *port > 65535) {
        return std::nullopt;
    }
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(*port));
}

QUrl endpoint(const QUrl& base, const QString& path) {
    QUrl url = base;
    QString joined = base.path();
    if (!joined.endsWith(QLatin1Char('/'))) {
        joined += QLatin1Char('/');
    }
    url.setPath(joined + path);
    return url;
}

QString unreachableText() {
    return QStringLiteral("Connection refused");
}

} // namespace DaemonHttp

} // namespace mnemora
