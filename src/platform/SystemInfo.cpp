#include "platform/SystemInfo.h"

#include <sys/utsname.h>
#include <unistd.h>

namespace mnemora::SystemInfo {

std::uint64_t physicalMemoryBytes() {
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    const long pageSize = ::sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0) {
        return 0;
    }
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

QString machineArchitecture() {
    utsname name{};
    if (::uname(&name) != 0) {
        return QStringLiteral("unknown");
    }
    return QString::fromLatin1(name.machine);
}

} // namespace mnemora::SystemInfo
