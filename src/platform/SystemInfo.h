#pragma once

#include <QString>

#include <cstdint>

namespace mnemora::SystemInfo {

// Installed physical memory in bytes (0 when it cannot be read).
std::uint64_t physicalMemoryBytes();

// The machine's architecture word as the kernel names it ("x86_64", "aarch64").
QString machineArchitecture();

} // namespace mnemora::SystemInfo
