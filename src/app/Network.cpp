#include "app/Network.h"

#include <QNetworkAccessManager>
#include <QNetworkProxy>

namespace mnemora::Network {

QNetworkAccessManager& shared() {
    static QNetworkAccessManager* manager = [] {
        auto* created = new QNetworkAccessManager();
        // Only loopback is ever spoken to; a system proxy must not intercept it.
        created->setProxy(QNetworkProxy::NoProxy);
        return created;
    }();
    return *manager;
}

} // namespace mnemora::Network
