#pragma once

#include <QJsonObject>
#include <QString>

namespace mnemora {

// One entity file (a person, a place, ...) as `entity/{type}/{slug}` gives it.
struct EntityPayload {
    QString entityType;
    QString slug;
    QJsonObject frontmatter;
    QString body;
    QString path;

    static EntityPayload fromJson(const QJsonObject& body);
    bool operator==(const EntityPayload&) const = default;
};

} // namespace mnemora
