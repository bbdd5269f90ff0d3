#include <gtest/gtest.h>

#include "ui/IntegrationsModel.h"
#include "ui/QrCode.h"

using namespace mnemora;

namespace {

// The 7×7 finder pattern whose top left module is at (left, top): a dark ring, a light ring and
// a dark 3×3 centre.
bool hasFinder(const QrCode& code, int left, int top) {
    for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 7; ++x) {
            const bool ring = x == 0 || y == 0 || x == 6 || y == 6;
            const bool centre = x >= 2 && x <= 4 && y >= 2 && y <= 4;
            if (code.isDark(left + x, top + y) != (ring || centre)) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

TEST(CompanionLink, TheSettingsShowTheCompanionAddressAndItsQrCode) {
    const RecordStoreSettings store{QUrl("http://192.168.1.20:5984/tallo"), {}};
    const QVariantMap link = IntegrationsModel::companionFor(store);
    const QString url = "http://192.168.1.20:5984/tallo/_design/companion/index.html";
    EXPECT_EQ(link.value("url").toString(), url);

    const std::optional<QrCode> code = QrCode::encode(url);
    ASSERT_TRUE(code.has_value());
    // 59 bytes at medium correction take version 4: 33 modules a side.
    EXPECT_EQ(code->size, 33);
    EXPECT_EQ(link.value("qrSize").toInt(), 33);
    ASSERT_EQ(link.value("qrModules").toList().size(), 33 * 33);
    EXPECT_TRUE(hasFinder(*code, 0, 0));
    EXPECT_TRUE(hasFinder(*code, code->size - 7, 0));
    EXPECT_TRUE(hasFinder(*code, 0, code->size - 7));
    EXPECT_FALSE(hasFinder(*code, code->size - 7, code->size - 7));
    // The module that is always dark sits beside the bottom left finder, not the top right one:
    // rows and columns are not swapped.
    EXPECT_TRUE(code->isDark(8, code->size - 8));
    EXPECT_EQ(link.value("qrModules").toList().at((code->size - 8) * code->size + 8), true);

    // Without a usable record store there is nothing to open.
    for (const char* unset : {"", "http://host", "ftp://host/db"}) {
        EXPECT_TRUE(IntegrationsModel::companionFor({QUrl(unset), {}}).isEmpty()) << unset;
    }
}
