#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace mnemora::Entry {

// The same executable is also the command-line face of the daemon: these first arguments make
// the process become the daemon executable that sits beside it.
bool isDaemonSubcommand(std::string_view word);

// The first entry (in name order) of `folder` whose name ends in "-daemon" and that is an
// executable file.
std::optional<std::string> findDaemonExecutable(const std::string& folder);

// Decides whether this process is the application. For a daemon subcommand with a daemon
// executable beside us, replaces the process with it, arguments unchanged; if that fails, writes
// "Failed to exec {path}: {reason}" to standard error and gives 127. Gives nothing when the
// application should run.
std::optional<int> dispatch(int argc, char** argv, const std::string& executableFolder);

} // namespace mnemora::Entry
