#include "app/Brand.h"

#include "platform/BundleInfo.h"

namespace mnemora {

namespace {

const QString kFallbackIdentifier = QStringLiteral("ai.mnemora");

} // namespace

Brand brandForIdentifier(const QString& identifier) {
    if (identifier == QLatin1String("vox.let")) {
        return Brand::voxlet;
    }
    if (identifier == QLatin1String("tallo.ai")) {
        return Brand::tallo;
    }
    return Brand::mnemora;
}

Brand brand() {
    return brandForIdentifier(BundleInfo::main().identifier);
}

QString appDisplayName() {
    const BundleInfo& info = BundleInfo::main();
    if (!info.displayName.isEmpty()) {
        return info.displayName;
    }
    if (!info.name.isEmpty()) {
        return info.name;
    }
    if (!info.identifier.isEmpty()) {
        return info.identifier;
    }
    return kFallbackIdentifier;
}

QString bundleIdentifier() {
    const QString& identifier = BundleInfo::main().identifier;
    return identifier.isEmpty() ? kFallbackIdentifier : identifier;
}

namespace BrandProfile {

QString name(Brand brand) {
    switch (brand) {
    case Brand::voxlet:
        return QStringLiteral("Voxlet");
    case Brand::tallo:
        return QStringLiteral("Tallo");
    case Brand::mnemora:
        break;
    }
    return QStringLiteral("Mnemora");
}

QString slug(Brand brand) {
    switch (brand) {
    case Brand::voxlet:
        return QStringLiteral("voxlite");
    case Brand::tallo:
        return QStringLiteral("tallo");
    case Brand::mnemora:
        break;
    }
    return QStringLiteral("mnemora");
}

QString serverKey(Brand brand) {
    switch (brand) {
    case Brand::voxlet:
        return QStringLiteral("voxlet");
    case Brand::tallo:
        return QStringLiteral("tallo");
    case Brand::mnemora:
        break;
    }
    return QStringLiteral("mnemora");
}

QStringList daemonBinaryNames(Brand brand) {
    switch (brand) {
    case Brand::voxlet:
        return {QStringLiteral("voxlet-daemon"), QStringLiteral("mnemora-daemon")};
    case Brand::tallo:
        return {QStringLiteral("tallo-daemon"), QStringLiteral("mnemora-daemon")};
    case Brand::mnemora:
        break;
    }
    return {QStringLiteral("mnemora-daemon")};
}

QString sessionPrefix(Brand brand) {
    switch (brand) {
    case Brand::voxlet:
        return QStringLiteral("vx-");
    case Brand::tallo:
        return QStringLiteral("tallo-");
    case Brand::mnemora:
        break;
    }
    return QStringLiteral("mn-");
}

int introspectionBasePort(Brand brand) {
    return 21500 + 20 * static_cast<int>(brand);
}

QList<SidebarItem> sidebarItems(Brand brand) {
    using S = SidebarItem;
    switch (brand) {
    case Brand::voxlet:
        return {S::transcribe, S::integrations, S::timeline, S::sources, S::processing};
    case Brand::tallo:
        return {S::home};
    case Brand::mnemora:
        break;
    }
    return {S::home,       S::lifeBook, S::integrations, S::sources,
            S::processing, S::people,   S::timeline,     S::transcribe};
}

SidebarItem initialSelection(Brand brand) {
    const QList<SidebarItem> items = sidebarItems(brand);
    return items.isEmpty() ? SidebarItem::timeline : items.first();
}

QString sidebarLabel(SidebarItem item, Brand brand) {
    switch (item) {
    case SidebarItem::home:
        return QStringLiteral("Home");
    case SidebarItem::lifeBook:
        return QStringLiteral("Life Book");
    case SidebarItem::transcribe:
        return QStringLiteral("Transcribe");
    case SidebarItem::timeline:
        return QStringLiteral("Timeline");
    case SidebarItem::sources:
        return QStringLiteral("Source Data");
    case SidebarItem::people:
        return QStringLiteral("Knowledge");
    case SidebarItem::processing:
        return QStringLiteral("Processing");
    case SidebarItem::integrations:
        return brand == Brand::tallo ? QStringLiteral("Sessions and Claude Code")
                                     : QStringLiteral("AI Integrations");
    }
    return {};
}

int minimumWindowWidth(Brand brand) {
    return brand == Brand::tallo ? 720 : 900;
}

int minimumWindowHeight(Brand) {
    return 600;
}

bool hasFixedFeatureDefaults(Brand brand) {
    return brand == Brand::tallo;
}

QString helpPath(Brand) {
    return QStringLiteral("/docs");
}

QString updateFeedPath(Brand) {
    return QStringLiteral("/darwin/aarch64/appcast.xml");
}

} // namespace BrandProfile

QString sessionNamePrefix(const QString& name, Brand brand) {
    return BrandProfile::sessionPrefix(brand) + QStringLiteral("dreamer-") + name +
           QLatin1Char('-');
}

QStringList dreamerSessionPrefixes(Brand brand) {
    QStringList prefixes{BrandProfile::sessionPrefix(brand) + QStringLiteral("dreamer-")};
    if (brand != Brand::mnemora) {
        prefixes << QStringLiteral("mn-dreamer-");
    }
    return prefixes;
}

QString sidebarItemWord(SidebarItem item) {
    switch (item) {
    case SidebarItem::home:
        return QStringLiteral("home");
    case SidebarItem::lifeBook:
        return QStringLiteral("lifeBook");
    case SidebarItem::transcribe:
        return QStringLiteral("transcribe");
    case SidebarItem::people:
        return QStringLiteral("people");
    case SidebarItem::timeline:
        return QStringLiteral("timeline");
    case SidebarItem::sources:
        return QStringLiteral("sources");
    case SidebarItem::integrations:
        return QStringLiteral("integrations");
    case SidebarItem::processing:
        return QStringLiteral("processing");
    }
    return {};
}

} // namespace mnemora
