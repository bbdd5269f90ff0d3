#include "ui/TranscribeModel.h"

#include <QFileInfo>
#include <QPointer>

#include "registry/DatabaseService.h"
#include "ui/ItemRows.h"

namespace mnemora {

TranscribeModel::TranscribeModel(const WindowServices& services, QObject* parent)
    : ScreenModel(SidebarItem::transcribe, services, parent) {}

QCoro::Task<> TranscribeModel::load() {
    QPointer<TranscribeModel> self(this);
    QCoro::Task<QList<RegistryItem>> fetching = services().database->fetchItems(
        QStringLiteral("voice_memo"), IdentityScope::active(), kLimit);
    const QList<RegistryItem> items = co_await fetching;
    if (!self) {
        co_return;
    }
    QVariantList rows;
    for (const RegistryItem& memo : items) {
        const QString text = memo.transcription.value_or(QString()).trimmed();
        if (text.isEmpty()) {
            continue;
        }
        QStringList about;
        if (memo.durationSecs) {
            about << QStringLiteral("%1 s").arg(qRound(*memo.durationSecs));
        }
        if (memo.sourceName && !memo.sourceName->isEmpty()) {
            about << *memo.sourceName;
        }
        rows << QVariantMap{{QStringLiteral("title"),
                             memo.capturedAt ? ItemRows::when(*memo.capturedAt)
                                             : QFileInfo(memo.filePath).completeBaseName()},
                            {QStringLiteral("subtitle"), about.join(QStringLiteral(" · "))},
                            {QStringLiteral("body"), text},
                            {QStringLiteral("path"), memo.filePath}};
    }
    setRows(rows);
}

} // namespace mnemora
