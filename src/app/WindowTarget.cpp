#include "app/WindowTarget.h"

#include <algorithm>

namespace mnemora::WindowTarget {

namespace {

// Matched windows name one target only when they all show the same vault, or all are primary.
Resolution narrow(const QList<OpenWindow>& matches, const QStringList& vaults) {
    QStringList distinctVaults;
    bool anyPrimary = false;
    for (const OpenWindow& window : matches) {
        if (!window.vaultRoot) {
            anyPrimary = true;
        } else if (!distinctVaults.contains(*window.vaultRoot)) {
            distinctVaults << *window.vaultRoot;
        }
    }
    if (distinctVaults.size() == 1 && !anyPrimary) {
        for (const QString& vault : vaults) {
            if (vault.compare(distinctVaults.first(), Qt::CaseInsensitive) == 0) {
                return Resolution::vault(distinctVaults.first());
            }
        }
        return Resolution::none();
    }
    if (distinctVaults.isEmpty() && anyPrimary) {
        return Resolution::primary();
    }
    QStringList titles;
    for (const OpenWindow& window : matches) {
        titles << window.title;
    }
    titles.sort();
    return Resolution::none(titles);
}

QList<OpenWindow> windowsWhere(const QList<OpenWindow>& windows,
                               const std::function<bool(const QString&)>& titleTest) {
    QList<OpenWindow> found;
    std::copy_if(windows.begin(), windows.end(), std::back_inserter(found),
                 [&](const OpenWindow& window) { return titleTest(window.title); });
    return found;
}

} // namespace

Resolution resolve(const std::optional<QString>& requested, const QStringList& vaults,
                   const QList<OpenWindow>& windows) {
    const QString trimmed = requested.value_or(QString()).trimmed();
    if (trimmed.isEmpty() || trimmed.compare(QLatin1String("primary"), Qt::CaseInsensitive) == 0) {
        return Resolution::primary();
    }
    const QString wanted = trimmed.toLower();

    for (const QString& vault : vaults) {
        if (vault.compare(wanted, Qt::CaseInsensitive) == 0) {
            return Resolution::vault(vault);
        }
    }

    const QList<OpenWindow> byTitle = windowsWhere(windows, [&](const QString& title) {
        return title.compare(wanted, Qt::CaseInsensitive) == 0;
    });
    if (!byTitle.isEmpty()) {
        return narrow(byTitle, vaults);
    }

    QStringList containing;
    for (const QString& vault : vaults) {
        if (vault.contains(wanted, Qt::CaseInsensitive)) {
            containing << vault;
        }
    }
    if (!containing.isEmpty()) {
        std::stable_sort(containing.begin(), containing.end(),
                         [](const QString& a, const QString& b) { return a.size() > b.size(); });
        return Resolution::vault(containing.first());
    }

    const QList<OpenWindow> byPart = windowsWhere(
        windows, [&](const QString& title) { return title.contains(wanted, Qt::CaseInsensitive); });
    if (!byPart.isEmpty()) {
        return narrow(byPart, vaults);
    }
    return Resolution::none();
}

} // namespace mnemora::WindowTarget
