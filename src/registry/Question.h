#pragma once

#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QString>

#include <optional>

namespace mnemora {

// One question a background session asked, as the index lists it and its file's frontmatter adds
// to it. Keyed everywhere by `slug`, the file's base name. The file is the truth; the index row can
// lag behind it.
struct Question {
    enum class Status { open, answered, dismissed };

    // From the index.
    QString slug{};
    QString text{};
    Status status = Status::open;
    QString filePath{};
    std::optional<QDateTime> askedAt{};
    std::optional<QDateTime> answeredAt{};

    // From the file's frontmatter, which the index does not hold.
    std::optional<QString> askedBy{};
    std::optional<QString> period{};
    std::optional<QString> books{};
    std::optional<QString> kind{};
    std::optional<QString> suggestedActionsRaw{};
    std::optional<QString> context{};

    // "answered" and "dismissed" are themselves; any other word is open.
    static Status statusFromWord(const QString& word);
    static QString statusWord(Status status);

    // Fills the six frontmatter fields from the text of the question's file.
    void readFrontmatter(const QString& fileText);

    bool operator==(const Question&) const = default;
};

} // namespace mnemora

Q_DECLARE_METATYPE(mnemora::Question)
