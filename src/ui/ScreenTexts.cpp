#include "ui/ScreenTexts.h"

#include "ui/MenuBarStatus.h"

namespace mnemora::ScreenTexts {

namespace {

EmptyState homeEmpty(Brand brand, const QString& app) {
    if (brand == Brand::tallo) {
        return {QStringLiteral("Nothing needs you right now"),
                QStringLiteral("When the bookkeeping run reaches something only you can settle — "
                               "a judgement call, a document to find, a login — its question "
                               "lands here. Answer it or dismiss it in place, and the run "
                               "carries on.")};
    }
    return {QStringLiteral("No open questions"),
            QStringLiteral("When one of ") + app +
                QStringLiteral("'s background sessions needs you — who is in a photo, when "
                               "something happened — its question appears here to answer or "
                               "dismiss.")};
}

} // namespace

EmptyState emptyState(SidebarItem item, Brand brand, const QString& app) {
    switch (item) {
    case SidebarItem::home:
        return homeEmpty(brand, app);
    case SidebarItem::lifeBook:
        return {QStringLiteral("Your Life Book is still blank"),
                QStringLiteral("Background sessions write its chapters — what is going on now, "
                               "the long view, the eras of your life — from your photos, voice "
                               "memos and notes. Each one appears here as soon as it is "
                               "written.")};
    case SidebarItem::transcribe:
        return {QStringLiteral("No transcripts yet"),
                QStringLiteral("Voice memos that ") + app +
                    QStringLiteral(" has turned into text on this computer are listed here, "
                                   "newest first, with their words. Nothing has been transcribed "
                                   "yet.")};
    case SidebarItem::people:
        return {QStringLiteral("No people or places yet"),
                QStringLiteral("As ") + app +
                    QStringLiteral(" recognises the people and places in what it indexes, they "
                                   "are counted here. Search a place to see what was captured "
                                   "there.")};
    case SidebarItem::timeline:
        return {QStringLiteral("Nothing on the timeline yet"),
                QStringLiteral("Everything ") + app +
                    QStringLiteral(" indexes is listed here, newest first, by kind. Items "
                                   "appear as the daemon works through your sources.")};
    case SidebarItem::sources:
        return {QStringLiteral("No sources indexed yet"),
                QStringLiteral("Each source ") + app +
                    QStringLiteral(" reads from — a photo library, a folder of recordings, a "
                                   "time log — shows here with how much of it has been captured "
                                   "and described.")};
    case SidebarItem::integrations:
        return {QStringLiteral("No agent sessions running"),
                QStringLiteral("Claude sessions that work through your material in the background "
                               "are listed here while they run, with any usage limit they hit, "
                               "so you can see what is live and stop one.")};
    case SidebarItem::processing:
        return {QStringLiteral("No recent activity"),
                QStringLiteral("Files the daemon picks up, transcribes and describes are listed "
                               "here as it works on them.")};
    }
    return {};
}

EmptyState noItemsAtPlace(const QString& place) {
    return {QStringLiteral("Nothing captured at “") + place + QStringLiteral("”"),
            QStringLiteral("The search matches a place's name or its town, ignoring case.")};
}

EmptyState placeSearchHint() {
    return {QStringLiteral("Search a place"),
            QStringLiteral("Type a place's name or its town above to list everything captured "
                           "there, newest first.")};
}

QString daemonHeadline(const DaemonStatus& status, const QString& name) {
    return MenuBarStatus::statusLine(status, name).value_or(QStringLiteral("Daemon running"));
}

QString daemonDetail(const DaemonStatus& status, const DaemonMode& mode) {
    if (const std::optional<QString> line = MenuBarStatus::modeLine(mode)) {
        return *line;
    }
    if (status.connection.is(DaemonStatus::Connection::Kind::disconnected)) {
        return status.connection.reason;
    }
    return {};
}

} // namespace mnemora::ScreenTexts
