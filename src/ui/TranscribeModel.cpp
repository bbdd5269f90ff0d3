#include "ui/TranscribeModel.h"

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
        QVariantMap row = ItemRows::row(memo);
        row.insert(QStringLiteral("body"), text);
        rows << row;
    }
    setRows(rows);
}

} // namespace mnemora
