#include "core/SyncedDocWellKnownPath.h"

namespace mnemora::core::SyncedDocWellKnownPath {

namespace {

std::string perBooks(const std::string& stem, const std::optional<std::string>& books) {
    if (!books || books->empty()) {
        return stem + ".md";
    }
    return stem + "-" + *books + ".md";
}

} // namespace

std::string questionsInbox() {
    return "questions/inbox.md";
}

std::string closeStatus() {
    return "status/close.md";
}

std::string vaultIdentity() {
    return "status/vault.md";
}

std::string closeStatus(const std::optional<std::string>& books) {
    return perBooks("status/close", books);
}

std::string ledger(const std::optional<std::string>& books) {
    return perBooks("status/ledger", books);
}

} // namespace mnemora::core::SyncedDocWellKnownPath
