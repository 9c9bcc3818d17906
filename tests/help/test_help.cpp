// The pages of the help: whole, without anything from elsewhere, and true to the program's keys and signs.
#include <gmock/gmock.h>

#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtGui/QImageReader>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>

#include "channel/cell/cell_icons.h"
#include "console/dialogs/toolkit_language.h"
#include "console/panel/console_keys.h"
#include "console/site/help_window.h"
#include "control/languages.h"
#include "persist/help_pages.h"
#include "persist/language_module.h"
#include "persist/string_table.h"
#include "support/temp_folder.h"

using namespace kvmon;
using testing::IsEmpty;

namespace {

using Names = std::set<QString>;

struct Language {
    const char* folder;
    const char* module;
    std::uint16_t langid;
};
constexpr Language kLanguages[] = {{"eng", "ENG", 0x0409}, {"ger", "GER", 0x0407}};

QString TextOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString PageOf(const Language& language) {
    return TextOf(QStringLiteral(KV_HELP "/%1/help.html").arg(QLatin1String(language.folder)));
}

// What stands in the first group, wherever the pattern fits.
std::vector<QString> All(const QString& text, const char* pattern) {
    std::vector<QString> found;
    for (auto each = QRegularExpression(QString::fromLatin1(pattern)).globalMatch(text); each.hasNext();) {
        found.push_back(each.next().captured(1));
    }
    return found;
}

Names NamesOf(const QString& text, const char* pattern) {
    const std::vector<QString> all = All(text, pattern);
    return {all.begin(), all.end()};
}

std::vector<std::string> Without(const Names& names, const Names& others) {
    std::vector<std::string> left;
    for (const QString& name : names) {
        if (!others.contains(name)) {
            left.push_back(name.toStdString());
        }
    }
    return left;
}

// Of a WebP picture by its head, as the toolkit may lack what reads one.
QSize SizeOf(const QString& path) {
    QFile file(path);
    if (!path.endsWith(QLatin1String(".webp"))) {
        return QImageReader(path).size();
    }
    const QByteArray head = file.open(QIODevice::ReadOnly) ? file.read(30) : QByteArray();
    if (head.size() < 30 || head.mid(8, 8) != "WEBPVP8 ") {
        return {};
    }
    const auto number = [&head](int at) {
        return static_cast<unsigned char>(head[at]) | (static_cast<unsigned char>(head[at + 1]) & 0x3F) << 8;
    };
    return {number(26), number(28)};
}

// The keys as the language writes them; those of the number pad are marked as the others are.
Names KeysOf(const Language& language) {
    const std::string module = std::string(KV_LANGUAGES "/KVMON") + language.module + ".DLL";
    UseLanguageModule(std::make_shared<const LanguageModule>(LoadLanguageModule(module).value()));
    UseToolkitLanguage(language.langid);
    Names keys;
    for (const ConsoleKey& row : ConsoleKeyTable()) {
        const bool bPad = (row.key & static_cast<int>(Qt::KeypadModifier)) != 0;
        if (!bPad && row.key != Qt::Key_Enter) {
            keys.insert(KeyName(row.key));
        }
    }
    UseLanguageModule(nullptr);
    UseToolkitLanguage(0);
    return keys;
}

}  // namespace

TEST(Help, EveryLinkAndPictureIsThereAndNothingIsFromElsewhere) {
    for (const Language& language : kLanguages) {
        SCOPED_TRACE(language.folder);
        const QString page = PageOf(language);
        ASSERT_FALSE(page.isEmpty());
        const Names ids = NamesOf(page, "\\bid=\"([^\"]*)\"");
        EXPECT_EQ(All(page, "\\bid=\"([^\"]*)\"").size(), ids.size()) << "an id stands twice";
        for (const QString& link : NamesOf(page, "\\b(?:href|src)=\"([^\"]*)\"")) {
            if (link.startsWith('#')) {
                EXPECT_TRUE(ids.contains(link.mid(1))) << link.toStdString();
                continue;
            }
            // As the web host reads it, too.
            const QString name =
                link.startsWith("../") ? link.mid(3) : QLatin1String(language.folder) + "/" + link;
            const auto path = FindHelpFile(KV_HELP, name.toStdString());
            ASSERT_TRUE(path) << link.toStdString();
            EXPECT_EQ(*path, KV_HELP "/" + name.toStdString()) << "of another language";
        }
        for (const QString& tag : All(page, "(<img [^>]*>)")) {
            EXPECT_TRUE(tag.contains(QRegularExpression("alt=\"[^\"]{4,}\""))) << tag.toStdString();
        }
        EXPECT_FALSE(page.contains("//")) << "an address of elsewhere";
        EXPECT_FALSE(page.contains("<script") || page.contains(" style="))
            << "the web host's rules refuse it";
        // Headings go down step by step, for who hears them.
        int level = 0;
        for (const QString& heading : All(page, "<h([1-6])")) {
            EXPECT_LE(heading.toInt(), level + 1);
            level = heading.toInt();
        }
    }
    EXPECT_FALSE(TextOf(KV_HELP "/help.css").contains("url("));
}

TEST(Help, EachLanguageHasTheSameSectionsAndEveryPlaceThatTheProgramOpens) {
    const Names english = NamesOf(PageOf(kLanguages[0]), "\\bid=\"([^\"]*)\"");
    for (const Language& language : kLanguages) {
        EXPECT_EQ(NamesOf(PageOf(language), "\\bid=\"([^\"]*)\""), english) << language.folder;
        EXPECT_STREQ(HelpSuffix(language.langid), language.folder);
    }
    for (int topic = 0; !HelpAddress("x", topic).empty(); ++topic) {
        const QString place = QString::fromStdString(HelpAddress("x", topic)).section('#', 1);
        EXPECT_TRUE(english.contains(place)) << place.toStdString();
    }
    Names listed = NamesOf(PageOf(kLanguages[0]), "<li><a href=\"#([^\"]*)\"");
    EXPECT_EQ(listed, NamesOf(PageOf(kLanguages[0]), "<section id=\"([^\"]*)\""));
}

TEST(Help, NamesTheKeysThatTheConsoleHasAndAllOfThem) {
    for (const Language& language : kLanguages) {
        SCOPED_TRACE(language.folder);
        const Names keys = KeysOf(language);
        const QString page = PageOf(language);
        EXPECT_THAT(Without(NamesOf(page, "<kbd>([^<]*)</kbd>"), keys), IsEmpty());
        const QString table = page.mid(page.indexOf("<section id=\"keys\">"));
        EXPECT_THAT(Without(keys, NamesOf(table, "<kbd>([^<]*)</kbd>")), IsEmpty());
    }
}

TEST(Help, ShowsEachSignOfACell) {
    const Names shown = NamesOf(PageOf(kLanguages[0]), "pictures/sign-([a-z-]*)\\.png");
    EXPECT_EQ(shown.size(), AllCellIcons().size());
}

TEST(Help, IsSmallAndItsPicturesAreAsLargeAsThePagesSay) {
    qint64 bytes = 0;
    for (QDirIterator each(KV_HELP, QDir::Files, QDirIterator::Subdirectories); each.hasNext();) {
        each.next();
        bytes += each.fileInfo().size();
    }
    EXPECT_GT(bytes, 100'000);
    EXPECT_LT(bytes, 600'000);
    for (const Language& language : kLanguages) {
        for (const QString& tag : All(PageOf(language), "(<img [^>]*>)")) {
            const QString name = All(tag, "src=\"([^\"]*)\"").at(0);
            const std::vector<QString> width = All(tag, "width=\"([0-9]+)\"");
            const QSize told = width.empty()
                                   ? QSize(60, 38)  // a sign, twice as large as it is shown
                                   : QSize(width[0].toInt(), All(tag, "height=\"([0-9]+)\"").at(0).toInt());
            EXPECT_EQ(SizeOf(QStringLiteral(KV_HELP "/%1/%2").arg(QLatin1String(language.folder), name)),
                      told)
                << name.toStdString();
        }
    }
}

TEST(HelpFiles, AreFoundByTheirLanguageElseInEnglishAndNothingElseIs) {
    const kvtest::TempFolder folder;
    for (const char* const sub : {"eng", "ger"}) {
        std::filesystem::create_directories(folder.File(sub));
    }
    for (const char* const name : {"eng/help.html", "ger/help.html", "eng/bar.webp", "help.css", "secret"}) {
        std::ofstream(folder.File(name)) << name;
    }
    const auto find = [&](const char* name) {
        const auto path = FindHelpFile(folder.Path(), name);
        return path ? path->substr(folder.Path().size() + 1) : std::string("-");
    };
    EXPECT_EQ(find("ger/help.html"), "ger/help.html");
    EXPECT_EQ(find("fre/help.html"), "eng/help.html");
    EXPECT_EQ(find("ger/bar.webp"), "eng/bar.webp");
    EXPECT_EQ(find("help.css"), "help.css");
    for (const char* const name :
         {"", "/", "secret", "ger", "ger/", "../help.css", "ger/../help.css", "/etc/passwd", "ger/help.html/",
          "ger//help.html", ".css", "a/b/c.html", "ger/HELP.html", "ger/help.html.bak"}) {
        EXPECT_EQ(find(name), "-") << name;
    }
    EXPECT_FALSE(FindHelpFile("", "help.css"));
}
