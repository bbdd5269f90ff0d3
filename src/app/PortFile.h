#pragma once

#include <QString>

#include <optional>

namespace mnemora::PortFile {

// Reads a port file written by the daemon: the whole text, trimmed of white space and line
// ends, as a decimal integer with an optional leading sign. Anything else (other characters,
// overflow, an empty text, a missing file) means there is no port.
std::optional<int> read(const QString& path);

// The same rule applied to a text already in memory.
std::optional<int> parse(const QByteArray& text);

// The daemon's port file in `folder`: the one place its name is written.
QString pathIn(const QString& folder);

} // namespace mnemora::PortFile
