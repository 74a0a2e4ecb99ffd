#include <gmock/gmock.h>

#include <set>

#include "Views/Help/HelpView.h"
#include "Views/Window/CommandTable.h"

namespace kelvane::testing {
namespace {

TEST(ShortcutRows, EveryCommandWithAKeyIsThereOnce) {
    std::multiset<QString> told;
    for (const ShortcutRow& row : shortcutRows()) told.insert(row.what);
    for (const Command& command : commandTable()) {
        const QString what = QString::fromUtf8(command.title).remove(QChar(u'…'));
        EXPECT_EQ(told.count(what), *command.keys == '\0' ? 0U : 1U) << command.title;
    }
    for (const FixedKey& key : fixedKeys()) EXPECT_EQ(told.count(QString::fromUtf8(key.what)), 1U) << key.what;
}

TEST(ShortcutRows, ThoseOfOneHeadingStandTogetherAndReadAsKeysDo) {
    std::vector<QString> headings;
    for (const ShortcutRow& row : shortcutRows()) {
        EXPECT_FALSE(row.keys.isEmpty()) << row.what.toStdString();
        EXPECT_FALSE(row.keys.contains("Pg")) << row.keys.toStdString();
        if (headings.empty() || headings.back() != row.heading) headings.push_back(row.heading);
    }
    EXPECT_EQ(std::set(headings.begin(), headings.end()).size(), headings.size());
    const auto rows = shortcutRows();
    const auto redo = std::ranges::find(rows, "Redo", &ShortcutRow::what);
    ASSERT_NE(redo, rows.end());
    EXPECT_EQ(redo->keys, "Ctrl+Shift+Z or Ctrl+Y");
}

TEST(HelpView, ShowsOneSheetAtATime) {
    HelpView view;
    int changes = 0;
    QObject::connect(&view, &HelpView::changed, [&changes] { ++changes; });
    view.showShortcuts();
    view.showShortcuts();
    EXPECT_TRUE(view.showsShortcuts());
    view.showAbout();
    EXPECT_FALSE(view.showsShortcuts());
    EXPECT_TRUE(view.showsAbout());
    view.dismiss();
    EXPECT_FALSE(view.showsAbout());
    EXPECT_EQ(changes, 3);
}

TEST(HelpView, NamesTheVersionAndALicenceForEachLibrary) {
    EXPECT_TRUE(HelpView::version().startsWith("Version ")) << HelpView::version().toStdString();
    EXPECT_EQ(HelpView::libraries().size(), HelpView::licences().size());
    EXPECT_EQ(HelpView::libraries().front(), QString("Qt ") + qVersion());
    for (const QString& licence : HelpView::licences()) EXPECT_FALSE(licence.isEmpty());
}

}  // namespace
}  // namespace kelvane::testing
