#pragma once

#include <optional>
#include <string>

// Paths of the documents the application generates, relative to the Notes folder.
namespace mnemora::core::SyncedDocWellKnownPath {

std::string questionsInbox();
std::string closeStatus();
std::string vaultIdentity();

// The default books keep the plain name, so absent and "" give the same path.
std::string closeStatus(const std::optional<std::string>& books);
std::string ledger(const std::optional<std::string>& books);

} // namespace mnemora::core::SyncedDocWellKnownPath
