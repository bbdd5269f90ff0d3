#include "registry/Question.h"

#include "registry/Frontmatter.h"

namespace mnemora {

Question::Status Question::statusFromWord(const QString& word) {
    if (word == QLatin1String("answered")) {
        return Status::answered;
    }
    if (word == QLatin1String("dismissed")) {
        return Status::dismissed;
    }
    return Status::open;
}

QString Question::statusWord(Status status) {
    switch (status) {
    case Status::answered:
        return QStringLiteral("answered");
    case Status::dismissed:
        return QStringLiteral("dismissed");
    case Status::open:
        break;
    }
    return QStringLiteral("open");
}

void Question::readFrontmatter(const QString& fileText) {
    askedBy = Frontmatter::value(fileText, QStringLiteral("asked_by"));
    period = Frontmatter::value(fileText, QStringLiteral("period"));
    books = Frontmatter::value(fileText, QStringLiteral("books"));
    kind = Frontmatter::value(fileText, QStringLiteral("kind"));
    suggestedActionsRaw = Frontmatter::value(fileText, QStringLiteral("suggested_actions"));
    context = Frontmatter::value(fileText, QStringLiteral("context"));
}

} // namespace mnemora
