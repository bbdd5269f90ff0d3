#include "periodclose/MaterialLists.h"

#include <QSet>
#include <QString>

#include <algorithm>

namespace mnemora::MaterialLists {

namespace {

// A reference to evidence, trimmed; blank counts as none.
QString evidence(const std::optional<QString>& reference) {
    return reference ? reference->trimmed() : QString();
}

bool has(const QSet<QString>& set, const std::optional<QString>& reference) {
    const QString key = evidence(reference);
    return !key.isEmpty() && set.contains(key);
}

} // namespace

QList<PeriodCloseMaterial> visible(const QList<PeriodCloseMaterial>& materials) {
    QList<PeriodCloseMaterial> counted;
    QSet<QString> receipts;
    QSet<QString> photos;
    for (const PeriodCloseMaterial& row : materials) {
        const auto standing = row.standing();
        if (row.isKind(PeriodCloseMaterial::deliverableKind) ||
            standing == PeriodCloseMaterial::Standing::candidate ||
            standing == PeriodCloseMaterial::Standing::excluded) {
            continue;
        }
        counted.append(row);
        if (row.isKind(PeriodCloseMaterial::transactionKind)) {
            receipts.insert(evidence(row.receiptPath));
            photos.insert(evidence(row.photoUUID));
        }
    }
    receipts.remove(QString());
    photos.remove(QString());
    counted.removeIf([&](const PeriodCloseMaterial& row) {
        return !row.isKind(PeriodCloseMaterial::transactionKind) &&
               (has(receipts, row.receiptPath) || has(photos, row.photoUUID));
    });
    return counted;
}

QList<PeriodCloseMaterial> candidates(const QList<PeriodCloseMaterial>& materials) {
    QList<PeriodCloseMaterial> found;
    for (const PeriodCloseMaterial& row : materials) {
        if (row.standing() == PeriodCloseMaterial::Standing::candidate) {
            found.append(row);
        }
    }
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
        const QString left = a.date.value_or(QString());
        const QString right = b.date.value_or(QString());
        return left != right ? left < right : a.lineKey < b.lineKey;
    });
    return found;
}

QList<PeriodCloseMaterial> deliverables(const QList<PeriodCloseMaterial>& materials) {
    QList<PeriodCloseMaterial> rows;
    for (const PeriodCloseMaterial& row : materials) {
        if (row.isKind(PeriodCloseMaterial::deliverableKind)) {
            rows.append(row);
        }
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto& a, const auto& b) { return a.sortOrder < b.sortOrder; });
    return rows;
}

QList<PeriodCloseMaterial> unbacked(const QList<PeriodCloseMaterial>& materials) {
    QList<PeriodCloseMaterial> rows = visible(materials);
    rows.removeIf([](const PeriodCloseMaterial& row) {
        return !row.amount || !evidence(row.receiptPath).isEmpty() ||
               !evidence(row.photoUUID).isEmpty();
    });
    return rows;
}

double visibleTotal(const QList<PeriodCloseMaterial>& materials) {
    double total = 0;
    for (const PeriodCloseMaterial& row : visible(materials)) {
        total += row.amount.value_or(0.0);
    }
    return total;
}

} // namespace mnemora::MaterialLists
