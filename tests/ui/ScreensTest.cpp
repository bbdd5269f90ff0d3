#include <gtest/gtest.h>

#include <QAccessible>
#include <QQuickWindow>

#include "app/Brand.h"
#include "support/QtPrinters.h"
#include "ui/ScreenModel.h"
#include "ui/UiFixture.h"
#include "ui/WindowShell.h"

using namespace mnemora;
using namespace mnemora::test;

namespace {

// Controls a person or a script operates; each must say what it is.
bool isControl(QAccessible::Role role) {
    switch (role) {
    case QAccessible::Button:
    case QAccessible::CheckBox:
    case QAccessible::ComboBox:
    case QAccessible::EditableText:
    case QAccessible::PageTab:
    case QAccessible::ProgressBar:
    case QAccessible::RadioButton:
    case QAccessible::ScrollBar:
    case QAccessible::Slider:
    case QAccessible::SpinBox:
    case QAccessible::List:
        return true;
    default:
        return false;
    }
}

QStringList unnamedControls(QQuickWindow& window) {
    QStringList unnamed;
    for (QAccessibleInterface* element : accessibleTree(window)) {
        if (isControl(element->role()) && !element->state().invisible &&
            element->text(QAccessible::Name).trimmed().isEmpty()) {
            unnamed << QStringLiteral("role %1 at %2,%3")
                           .arg(static_cast<int>(element->role()))
                           .arg(element->rect().x())
                           .arg(element->rect().y());
        }
    }
    return unnamed;
}

struct ScreensCase {
    Brand brand;
    bool populated;
};

void PrintTo(const ScreensCase& c, std::ostream* out) {
    *out << BrandProfile::name(c.brand).toStdString() << (c.populated ? ", populated" : ", empty");
}

class Screens : public ::testing::TestWithParam<ScreensCase> {};

} // namespace

TEST_P(Screens, EveryScreenLoadsWithoutAWarningAndNamesEveryControl) {
    const ScreensCase param = GetParam();
    WarningLog warnings;
    UiFixture fixture(param.brand, param.populated);
    fixture.start();

    for (SidebarItem item : BrandProfile::sidebarItems(param.brand)) {
        const QString word = sidebarItemWord(item);
        ScreenModel& screen = fixture.show(item);
        ASSERT_EQ(fixture.shell().selection(), word);
        const QImage image = fixture.grab();
        ASSERT_FALSE(image.isNull()) << word.toStdString();
        if (param.populated) {
            EXPECT_TRUE(!screen.isEmpty() || !screen.summary().isEmpty()) << word.toStdString();
        } else {
            EXPECT_TRUE(screen.isEmpty()) << word.toStdString();
            EXPECT_FALSE(screen.emptyTitle().isEmpty()) << word.toStdString();
            EXPECT_TRUE(findAccessible(fixture.window(), screen.emptyTitle()))
                << word.toStdString();
        }
        EXPECT_EQ(unnamedControls(fixture.window()), QStringList()) << word.toStdString();
    }
    EXPECT_EQ(warnings.lines(), QStringList());
}

INSTANTIATE_TEST_SUITE_P(
    AllBrands, Screens,
    ::testing::Values(ScreensCase{Brand::mnemora, true}, ScreensCase{Brand::mnemora, false},
                      ScreensCase{Brand::voxlet, true}, ScreensCase{Brand::voxlet, false},
                      ScreensCase{Brand::tallo, true}, ScreensCase{Brand::tallo, false}),
    [](const ::testing::TestParamInfo<ScreensCase>& info) {
        return BrandProfile::name(info.param.brand).toStdString() +
               (info.param.populated ? "Populated" : "Empty");
    });
