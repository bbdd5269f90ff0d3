#pragma once

#include <QObject>
#include <QStringList>
#include <QVariantList>

#include <QCoroTask>

#include "app/Brand.h"
#include "ui/ScreenTexts.h"
#include "ui/WindowServices.h"

namespace mnemora {

// What one section's screen shows: a list of rows, a few summary lines, the words it says while
// the list is empty, and the words of its last failed action. A screen reloads when it is shown
// and whenever the daemon's index has changed while it is.
class ScreenModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QVariantList rows READ rows NOTIFY rowsChanged)
    Q_PROPERTY(bool empty READ isEmpty NOTIFY rowsChanged)
    Q_PROPERTY(QStringList summary READ summary NOTIFY rowsChanged)
    Q_PROPERTY(QString emptyTitle READ emptyTitle NOTIFY rowsChanged)
    Q_PROPERTY(QString emptyText READ emptyText NOTIFY rowsChanged)
    Q_PROPERTY(QString errorText READ errorText NOTIFY errorTextChanged)
    Q_PROPERTY(bool active READ active NOTIFY activeChanged)

public:
    ScreenModel(SidebarItem item, const WindowServices& services, QObject* parent = nullptr);

    SidebarItem item() const { return item_; }
    const QVariantList& rows() const { return rows_; }
    bool isEmpty() const { return rows_.isEmpty(); }
    const QStringList& summary() const { return summary_; }
    QString emptyTitle() const { return empty_.title; }
    QString emptyText() const { return empty_.text; }
    const QString& errorText() const { return errorText_; }
    bool active() const { return active_; }

    // Shown or hidden; a shown screen reloads at once.
    void setActive(bool active);

    // Starts a reload; the screen keeps what it shows until the new rows are there.
    Q_INVOKABLE void reload();

    // The reload itself, awaitable by tests.
    virtual QCoro::Task<> load() = 0;

signals:
    void rowsChanged();
    void errorTextChanged();
    void activeChanged();

protected:
    virtual void onActiveChanged() {}
    void setRows(QVariantList rows, QStringList summary = {});
    void setEmpty(ScreenTexts::EmptyState empty);
    void setErrorText(const QString& text);
    const WindowServices& services() const { return services_; }

private:
    SidebarItem item_;
    WindowServices services_;
    QVariantList rows_;
    QStringList summary_;
    ScreenTexts::EmptyState empty_;
    QString errorText_;
    bool active_ = false;
};

} // namespace mnemora
