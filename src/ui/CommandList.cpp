#include "ui/CommandList.h"

namespace mnemora::CommandList {

namespace {

QString sidebarIcon(SidebarItem item) {
    switch (item) {
    case SidebarItem::home:
        return QStringLiteral("go-home");
    case SidebarItem::lifeBook:
        return QStringLiteral("accessories-dictionary");
    case SidebarItem::transcribe:
        return QStringLiteral("audio-input-microphone");
    case SidebarItem::people:
        return QStringLiteral("system-users");
    case SidebarItem::timeline:
        return QStringLiteral("x-office-calendar");
    case SidebarItem::sources:
        return QStringLiteral("folder");
    case SidebarItem::integrations:
        return QStringLiteral("applications-system");
    case SidebarItem::processing:
        return QStringLiteral("system-run");
    }
    return {};
}

QList<Command> questionCommands(Brand brand, const Question& question,
                                const QStringList& liveSessions) {
    QList<Command> commands;
    if (canJoin(question, liveSessions, brand)) {
        commands << Command{QStringLiteral("qjoin:") + question.slug,
                            Command::Group::questions,
                            question.text,
                            QStringLiteral("Join Claude session"),
                            QStringLiteral("utilities-terminal"),
                            Command::JoinSession{question}};
    }
    commands << Command{QStringLiteral("qhome:") + question.slug,
                        Command::Group::questions,
                        QStringLiteral("Answer: ") + question.text,
                        QStringLiteral("Opens Home to answer / dismiss"),
                        QStringLiteral("mail-reply-sender"),
                        Command::Navigate{SidebarItem::home}};
    return commands;
}

} // namespace

QList<Command> build(Brand brand, const QList<Question>& questions, const QStringList& liveSessions,
                     const QList<SkillSeed>& skills) {
    QList<Command> commands;
    for (SidebarItem item : BrandProfile::sidebarItems(brand)) {
        commands << Command{QStringLiteral("nav:") + sidebarItemWord(item),
                            Command::Group::navigate,
                            QStringLiteral("Go to ") + BrandProfile::sidebarLabel(item, brand),
                            std::nullopt,
                            sidebarIcon(item),
                            Command::Navigate{item}};
    }
    for (const Question& question : questions) {
        if (question.status == Question::Status::open) {
            commands << questionCommands(brand, question, liveSessions);
        }
    }
    for (const SkillSeed& skill : skills) {
        commands << Command{
            QStringLiteral("skill:") + skill.id,
            Command::Group::integrations,
            (skill.installedSkillPath ? QStringLiteral("Re-run ") : QStringLiteral("Install ")) +
                skill.title,
            skill.description,
            QStringLiteral("utilities-terminal"),
            Command::InstallSkill{skill.id}};
    }
    commands << Command{QStringLiteral("sys:refresh"),
                        Command::Group::system,
                        QStringLiteral("Refresh open questions"),
                        std::nullopt,
                        QStringLiteral("view-refresh"),
                        Command::RefreshQuestions{}};
    return commands;
}

bool canJoin(const Question& question, const QStringList& liveSessions, Brand brand) {
    const QString dreamer = QStringLiteral("dreamer:");
    if (!question.askedBy || !question.askedBy->startsWith(dreamer)) {
        return false;
    }
    const QString name = question.askedBy->mid(dreamer.size());
    for (const QString& prefix : dreamerSessionPrefixes(brand)) {
        const QString candidate = prefix + name + QLatin1Char('-');
        for (const QString& session : liveSessions) {
            if (session.startsWith(candidate)) {
                return true;
            }
        }
    }
    return false;
}

QList<Command> filter(const QList<Command>& commands, const QString& query) {
    const QString needle = query.trimmed().toLower();
    if (needle.isEmpty()) {
        return commands;
    }
    QList<Command> kept;
    for (const Command& command : commands) {
        if (command.title.toLower().contains(needle) ||
            (command.subtitle && command.subtitle->toLower().contains(needle)) ||
            groupWord(command.group).contains(needle)) {
            kept << command;
        }
    }
    return kept;
}

QString groupWord(Command::Group group) {
    switch (group) {
    case Command::Group::navigate:
        return QStringLiteral("navigate");
    case Command::Group::questions:
        return QStringLiteral("questions");
    case Command::Group::integrations:
        return QStringLiteral("integrations");
    case Command::Group::system:
        return QStringLiteral("system");
    }
    return {};
}

QString groupHeader(Command::Group group) {
    switch (group) {
    case Command::Group::navigate:
        return QStringLiteral("Navigate");
    case Command::Group::questions:
        return QStringLiteral("Questions");
    case Command::Group::integrations:
        return QStringLiteral("AI Integrations");
    case Command::Group::system:
        return QStringLiteral("System");
    }
    return {};
}

QString resultCountText(qsizetype count) {
    return QString::number(count) +
           (count == 1 ? QStringLiteral(" result") : QStringLiteral(" results"));
}

QString prompt() {
    return QStringLiteral("Type a command, question, or skill…");
}

QString failureTitle() {
    return QStringLiteral("Action failed");
}

} // namespace mnemora::CommandList
