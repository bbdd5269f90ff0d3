#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace mnemora {

// The three products built from this one code base. The numbers are used in arithmetic
// (the introspection base port), so their order is fixed.
enum class Brand { mnemora = 0, voxlet = 1, tallo = 2 };

// The sections of a window's sidebar.
enum class SidebarItem {
    home,
    lifeBook,
    transcribe,
    people,
    timeline,
    sources,
    integrations,
    processing
};

// The product running now, decided from the bundle identifier at every call, never stored:
// nothing in the program can change brand while it runs. Safe from any thread.
Brand brand();

// The brand a bundle identifier selects: only exact matches pick Voxlet or Tallo.
Brand brandForIdentifier(const QString& identifier);

// The bundle's display name, else its name, else its identifier, else "ai.mnemora".
QString appDisplayName();

// The bundle identifier, else "ai.mnemora". Names the cache and log folders.
QString bundleIdentifier();

// Every value that differs by product.
namespace BrandProfile {

QString name(Brand brand);                  // "Mnemora", "Voxlet", "Tallo"
QString slug(Brand brand);                  // seed manifests and the agent configuration snippet
QString serverKey(Brand brand);             // key in .mcp.json and mcpServers snippets
QStringList daemonBinaryNames(Brand brand); // in search order
QString sessionPrefix(Brand brand);         // "mn-", "vx-", "tallo-"
int introspectionBasePort(Brand brand);
QList<SidebarItem> sidebarItems(Brand brand);
SidebarItem initialSelection(Brand brand);
QString sidebarLabel(SidebarItem item, Brand brand);
int minimumWindowWidth(Brand brand);
int minimumWindowHeight(Brand brand);
bool hasFixedFeatureDefaults(Brand brand); // otherwise derived from `selected_assets`
QString helpPath(Brand brand);
QString updateFeedPath(Brand brand);

} // namespace BrandProfile

// `{prefix}dreamer-{name}-`: live sessions of a dreamer begin with it.
QString sessionNamePrefix(const QString& name, Brand brand);

// Session name prefixes that read back as a dreamer's, newest first: the brand's own form and
// the older "mn-dreamer-" form, which every brand accepts.
QStringList dreamerSessionPrefixes(Brand brand);

// The wire word of a sidebar item ("home", "lifeBook", ...).
QString sidebarItemWord(SidebarItem item);

} // namespace mnemora
