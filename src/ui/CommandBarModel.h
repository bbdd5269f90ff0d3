#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QVariantList>

#include <QCoroTask>

#include "ui/Command.h"
#include "ui/WindowServices.h"

namespace mnemora {

// The command bar of one window: one field that reaches every section, every open question and
// the refresh. The list is built afresh for each query; running a command acts on the window's
// own services.
class CommandBarModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString query READ query WRITE setQuery NOTIFY queryChanged)
    Q_PROPERTY(QVariantList rows READ rows NOTIFY rowsChanged)
    Q_PROPERTY(QString footer READ footer NOTIFY rowsChanged)
    Q_PROPERTY(QString prompt READ prompt CONSTANT)
    Q_PROPERTY(QString failureTitle READ failureTitle NOTIFY failureChanged)
    Q_PROPERTY(QString failureText READ failureText NOTIFY failureChanged)

public:
    explicit CommandBarModel(const WindowServices& services, QObject* parent = nullptr);

    const QString& query() const { return query_; }
    void setQuery(const QString& query);
    // Each row: `id`, `title`, `subtitle`, `icon`, and `header` on the first row of a group.
    const QVariantList& rows() const { return rows_; }
    const QList<Command>& commands() const { return commands_; }
    QString footer() const;
    QString prompt() const;
    QString failureTitle() const;
    const QString& failureText() const { return failureText_; }

    // Runs the command of a row of the filtered list.
    Q_INVOKABLE void run(int index);
    // Puts a query into the field and runs the first command it keeps; with no match nothing
    // runs.
    void runQuery(const QString& query);
    // Called as the bar opens: an empty field, and the live sessions asked for afresh.
    Q_INVOKABLE void prepare();

    QCoro::Task<> runCommand(Command command);
    QCoro::Task<> refreshSessions();

signals:
    void queryChanged();
    void rowsChanged();
    void failureChanged();

private:
    void rebuild();
    void setFailure(const QString& text);

    WindowServices services_;
    QString query_;
    QStringList liveSessions_;
    QList<Command> commands_;
    QVariantList rows_;
    QString failureText_;
};

} // namespace mnemora
