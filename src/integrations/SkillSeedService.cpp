#include "integrations/SkillSeedService.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>

#include "app/Brand.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "integrations/SeedList.h"
#include "integrations/SeedTemplates.h"

namespace mnemora {

SkillSeedService::SkillSeedService(QObject* parent)
    : SeedService(QString::fromLatin1(SeedTemplates::skillFolder), parent) {}

QVariantList SkillSeedService::rows() const {
    QVariantList rows;
    for (const SkillSeed& seed : seeds_) {
        rows << QVariantMap{{QStringLiteral("id"), seed.id},
                            {QStringLiteral("title"), seed.title},
                            {QStringLiteral("description"), seed.description},
                            {QStringLiteral("schedule"), seed.suggestedSchedule},
                            {QStringLiteral("tier"), seed.inferenceTier},
                            {QStringLiteral("installed"), seed.installedSkillPath.has_value()}};
    }
    return rows;
}

QString SkillSeedService::emptyTitle() const {
    return QStringLiteral("No seed templates bundled");
}

QString SkillSeedService::emptyText() const {
    return QStringLiteral("The app bundle should contain skill-seeds/*.md. Rebuild after "
                          "verifying project.yml points at core-lib/templates/skill-seeds.");
}

bool SkillSeedService::claudeInstalled(const std::optional<QJsonObject>& prerequisites) {
    if (!prerequisites) {
        return false;
    }
    for (const QJsonValue& tool : prerequisites->value(QStringLiteral("tools")).toArray()) {
        const QJsonObject entry = tool.toObject();
        if (entry.value(QStringLiteral("id")).toString() == QStringLiteral("claude")) {
            return entry.value(QStringLiteral("path")).isString();
        }
    }
    return false;
}

QCoro::Task<> SkillSeedService::refresh() {
    QPointer<SkillSeedService> self(this);
    const QString slug = BrandProfile::slug(brand());
    const QString folder = dataFolder();
    QList<SkillSeed> seeds;
    for (const Template& found : readTemplates()) {
        std::optional<SkillSeed> seed = SkillSeed::fromPairs(found.pairs);
        if (!seed || !seed->fitsBrand(slug)) {
            continue;
        }
        seed->templatePath = found.path;
        const QString installed =
            folder + QStringLiteral("/.claude/skills/") + seed->id + QStringLiteral("/SKILL.md");
        if (QFileInfo::exists(installed)) {
            seed->installedSkillPath = installed;
        }
        seeds << *seed;
    }
    std::stable_sort(seeds.begin(), seeds.end(), [](const SkillSeed& a, const SkillSeed& b) {
        return a.sortOrder != b.sortOrder ? a.sortOrder < b.sortOrder : a.title < b.title;
    });
    QCoro::Task<std::optional<QJsonObject>> asking = DaemonEndpoints::prerequisites(daemon_);
    const std::optional<QJsonObject> tools = co_await asking;
    if (!self) {
        co_return;
    }
    seeds_ = seeds;
    claudeAvailable_ = claudeInstalled(tools);
    dataFolderReady_ = QFileInfo(folder).isDir();
    emit seedsChanged();
}

std::optional<QString> SkillSeedService::templateOf(const QString& id) const {
    return SeedList::templateOf(seeds_, id);
}

std::optional<QString> SkillSeedService::launchBlocker() const {
    if (claudeAvailable_) {
        return std::nullopt;
    }
    return QStringLiteral("Claude Code is not installed. Run `npm install -g "
                          "@anthropic-ai/claude-code`, then try again.");
}

} // namespace mnemora
