#pragma once

#include <QPointer>

#include <QCoroTask>

#include "introspection/HttpRequest.h"
#include "introspection/HttpResponse.h"

namespace mnemora {

class IntrospectionServer;

// The six routes of the introspection server. Each writes exactly one answer; nothing throws.
namespace IntrospectionRoutes {

QCoro::Task<HttpResponse> route(QPointer<IntrospectionServer> server, HttpRequest request);

// `budget`: a decimal count of tree nodes, the default and the maximum for anything else.
int budget(const QString& value);

} // namespace IntrospectionRoutes

} // namespace mnemora
