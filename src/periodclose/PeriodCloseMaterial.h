#pragma once

#include <QMetaType>
#include <QString>

#include <optional>

namespace mnemora {

// One line of a close: a transaction, a deliverable, or another kind of row shown as it stands.
// Everything but the key and the order is the daemon's display text and may be missing.
struct PeriodCloseMaterial {
    // What a row's `status` word means to us; the other words are the run's own.
    enum class Standing {
        candidate,       // found but not accepted: shown only among the candidates
        excluded,        // dropped: counted nowhere
        toGather,        // a deliverable still to be gathered
        inHand,          // a deliverable we have
        nothingToGather, // the period has nothing of this deliverable
        other,
    };

    static inline const QString transactionKind = QStringLiteral("transaction");
    static inline const QString deliverableKind = QStringLiteral("deliverable");

    QString lineKey; // the row's key within its run
    std::optional<QString> period;
    std::optional<QString> kind;
    qint64 sortOrder = 0;
    std::optional<QString> date;
    std::optional<QString> vendor;
    std::optional<double> amount; // signed as the daemon stored it
    std::optional<QString> currency;
    std::optional<QString> category;
    std::optional<QString> receiptPath; // evidence on disk
    std::optional<QString> stagedAs;    // the file's name among the attachments
    std::optional<QString> confidence;
    std::optional<QString> status;
    std::optional<QString> questionSlug; // the question the row waits on
    std::optional<QString> label;        // a deliverable's title
    std::optional<QString> source;
    std::optional<QString> detail;
    std::optional<QString> why;
    std::optional<QString> photoUUID; // evidence in the photo library
    std::optional<QString> instrument;
    std::optional<QString> allocation; // what the user chose

    Standing standing() const;
    bool isKind(const QString& word) const { return kind == word; }

    bool operator==(const PeriodCloseMaterial&) const = default;
};

} // namespace mnemora

Q_DECLARE_METATYPE(mnemora::PeriodCloseMaterial)
