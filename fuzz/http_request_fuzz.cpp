// Feeds arbitrary bytes to the introspection server's request parser. Besides not crashing, a
// parse must not depend on how the bytes were cut: a complete request stays the same request
// when more bytes follow it, and a refusal of a head stays a refusal.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "introspection/HttpRequest.h"

using mnemora::HttpRequest;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const HttpRequest::Parse parsed = HttpRequest::parse(bytes);
    const HttpRequest::Parse longer = HttpRequest::parse(bytes + QByteArrayLiteral("surplus"));
    if (const auto* request = std::get_if<HttpRequest>(&parsed)) {
        if (request->body.size() > bytes.size() || !(longer == parsed)) {
            std::abort();
        }
    }
    if (const auto* refused = std::get_if<HttpRequest::Refused>(&parsed)) {
        if (refused->error.isEmpty() || (refused->status != 413 && !(longer == parsed))) {
            std::abort();
        }
    }
    return 0;
}
