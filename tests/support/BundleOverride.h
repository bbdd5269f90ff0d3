#pragma once

#include <QString>

#include "platform/BundleInfo.h"

namespace mnemora::test {

// Makes the running program look like the bundle with these Info values for one scope.
class BundleOverride {
public:
    BundleOverride(const QString& identifier, const QString& displayName, const QString& name) {
        BundleInfo info;
        info.folder = BundleInfo::executableFolder();
        info.identifier = identifier;
        info.displayName = displayName;
        info.name = name;
        BundleInfo::overrideMainForTesting(info);
    }
    ~BundleOverride() { BundleInfo::overrideMainForTesting(std::nullopt); }

    BundleOverride(const BundleOverride&) = delete;
    BundleOverride& operator=(const BundleOverride&) = delete;
};

} // namespace mnemora::test
