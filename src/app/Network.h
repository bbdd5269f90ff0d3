#pragma once

class QNetworkAccessManager;

namespace mnemora::Network {

// The one HTTP session of the main thread that every daemon call goes through.
QNetworkAccessManager& shared();

} // namespace mnemora::Network
