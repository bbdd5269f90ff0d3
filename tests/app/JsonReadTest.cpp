#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>

#include "app/JsonRead.h"

using namespace mnemora;

namespace {

// The value of `number` as the daemon or a hand-edited file would send it.
QJsonValue parsed(const char* number) {
    const QByteArray text = QByteArray("{\"n\": ") + number + '}';
    return QJsonDocument::fromJson(text).object().value(QLatin1String("n"));
}

} // namespace

TEST(JsonRead, IntegersAreWholeNumbersThatFitAndNothingElse) {
    struct Case {
        const char* json;
        std::optional<qint64> wide;
        std::optional<int> narrow;
    };
    const Case cases[] = {
        {"42", 42, 42},
        {"-42", -42, -42},
        {"0", 0, 0},
        {"2.5", std::nullopt, std::nullopt},
        {"\"3\"", std::nullopt, std::nullopt},
        {"true", std::nullopt, std::nullopt},
        {"null", std::nullopt, std::nullopt},
        // Far out of range: no value rather than an undefined conversion.
        {"1e300", std::nullopt, std::nullopt},
        {"-1e300", std::nullopt, std::nullopt},
        // 2^63 does not fit; -2^63 does.
        {"9223372036854775808", std::nullopt, std::nullopt},
        {"-9223372036854775808", std::numeric_limits<qint64>::min(), std::nullopt},
        {"2147483647", 2147483647, 2147483647},
        {"2147483648", 2147483648LL, std::nullopt},
        {"-2147483648", -2147483648LL, std::numeric_limits<int>::min()},
    };
    for (const Case& c : cases) {
        const QJsonValue value = parsed(c.json);
        EXPECT_EQ(JsonRead::integer(value), c.wide) << c.json;
        EXPECT_EQ(JsonRead::int32(value), c.narrow) << c.json;
    }
}
