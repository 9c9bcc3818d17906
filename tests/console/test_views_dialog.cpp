// The dialog of the named views, and their files.
#include "named_views_fixture.h"

#include <sys/stat.h>

#include <QtWidgets/QMessageBox>
#include <QtWidgets/QSpinBox>
#include <fstream>

#include "console/views/view_file.h"
#include "persist/string_table.h"
#include "platform/worker.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::NamedViews;
using kvtest::PressKey;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(NamedViews, TheDialogSavesNamesOrdersAndDeletes) {
    FakeRecorder recorder("Hall", 9);
    Open(recorder.Port());
    ViewsDialog* dialog = OpenDialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_FALSE(dialog->findChild<QPushButton*>("newSequence")->isEnabled());
    auto& hint = *dialog->findChild<QLabel*>("emptyHint");
    EXPECT_TRUE(hint.isVisible());
    EXPECT_THAT(hint.text().toStdString(), HasSubstr("Save present view"));
    Click(*dialog, "save");
    TypeName(*dialog, "  Night   shift ");
    EXPECT_FALSE(hint.isVisible());
    Click(*dialog, "save");
    TypeName(*dialog, "Night shift");  // taken
    EXPECT_THAT(Names(*dialog), ElementsAre("Night shift", "Night shift (2)"));
    Click(*dialog, "newSequence");
    TypeName(*dialog, "Tour");
    dialog->findChild<QSpinBox*>("stepSeconds")->setValue(5);
    Click(*dialog, "addStep");
    EXPECT_EQ(dialog->findChild<QTreeWidget*>("steps")->topLevelItemCount(), 3);
    PressKey(*dialog->findChild<QTreeWidget*>("views"), Qt::Key_Up, Qt::ControlModifier);
    EXPECT_THAT(Names(*dialog), ElementsAre("Night shift", "Tour", "Night shift (2)"));
    Click(*dialog, "down");
    Click(*dialog, "up");
    dialog->accept();
    Pump();
    const std::vector<NamedView> views = Views().List().All();
    ASSERT_EQ(views.size(), 3u);
    EXPECT_EQ(views[1].name, "Tour");
    ASSERT_EQ(views[1].steps.size(), 3u);
    EXPECT_EQ(views[1].steps[0].view, "Night shift");
    EXPECT_EQ(views[1].steps[0].seconds, 5);

    // A new name follows into the sequences; what is cancelled changes nothing; Enter opens.
    dialog = OpenDialog();
    Click(*dialog, "rename");
    TypeName(*dialog, "Dusk");
    dialog->accept();
    Pump();
    EXPECT_EQ(Views().List().All()[1].steps[0].view, "Dusk");
    dialog = OpenDialog();
    Click(*dialog, "delete");
    dialog->reject();
    Pump();
    EXPECT_EQ(Views().List().All().size(), 3u);
    dialog = OpenDialog();
    PressKey(*dialog->findChild<QTreeWidget*>("views"), Qt::Key_Delete);
    PressKey(*dialog->findChild<QTreeWidget*>("views"), Qt::Key_Return);
    Pump();
    EXPECT_EQ(Views().List().All().size(), 2u);
    EXPECT_EQ(Views().Sequence(), "Tour");
}

TEST_F(NamedViews, FilesOfNonsenseChangeNothing) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    ASSERT_TRUE(Views().Save("Night"));
    ViewsDialog* const dialog = OpenDialog();
    const QByteArray good = WriteViews(Views().List().All());
    const QByteArray sequence = R"({"format":"kvmon views","version":1,"views":[{"name":"Tour","steps":)";
    const std::string noViews = "This file holds no views.";
    const std::pair<QByteArray, std::string> files[] = {
        {"", noViews},
        {"\x89PNG\r\n", noViews},
        {good.left(good.size() / 2), noViews},
        {QByteArray(good).replace("\"version\": 1", "\"version\": 2"), "newer version"},
        {QByteArray(good).replace("\"style\": 2", "\"style\": 9"), noViews},
        {QByteArray(good).replace("\"host\"", "\"post\""), noViews},
        {QByteArray(good).replace("\"name\": \"Night\"", "\"name\": \" \""), noViews},
        {sequence + R"([{"view":"Night","seconds":0}]}]})", noViews},
        {sequence + R"([{"view":"Night","seconds":1e99}]}]})", noViews},
        {sequence + "[]}]}", noViews},
        {QByteArray(100000, '['), noViews},
        {QByteArray(kMaxViewFile + 1, ' '), noViews},
    };
    for (const auto& [text, word] : files) {
        EXPECT_THAT(MessageAfterImport(*dialog, text), HasSubstr(word)) << text.left(300).toStdString();
        EXPECT_THAT(Names(*dialog), ElementsAre("Night"));
    }
    EXPECT_THAT(ChooseFile(*dialog, "import", "/nonexistent/views"), HasSubstr("cannot be read"));
    EXPECT_THAT(ChooseFile(*dialog, "export", "/nonexistent/views"), HasSubstr("cannot be written"));
    // What is exported can be imported; names that are taken get a number.
    const QString path = QString::fromStdString(folder.File("out.kvviews"));
    EXPECT_THAT(ChooseFile(*dialog, "export", path), IsEmpty());
    EXPECT_THAT(ChooseFile(*dialog, "import", path), IsEmpty());
    EXPECT_THAT(Names(*dialog), ElementsAre("Night", "Night (2)"));
    dialog->reject();
    Pump();

    // Stored nonsense is kept aside, and told once.
    Close();
    const auto store = [](const std::string& section, const QByteArray& text) {
        const auto bytes = std::as_bytes(std::span(text.constData(), static_cast<std::size_t>(text.size())));
        Registry().WriteProfileBinary("Views\\Each\\" + section, "View",
                                      {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    };
    const QByteArray nonsense = good.left(good.size() / 2);
    store("of another", nonsense);
    Open(recorder.Port());
    auto* const box = console->findChild<QMessageBox*>();
    ASSERT_NE(box, nullptr);
    EXPECT_THAT(box->text().toStdString(), HasSubstr("kept aside"));
    box->close();
    const auto aside = Registry().GetSections("Views\\Aside");
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_EQ(Registry().GetProfileBinarySize("Views\\Aside\\" + aside[0], "View"),
              static_cast<std::size_t>(nonsense.size()));
    EXPECT_THAT(console->ViewNames(), testing::StrEq("Night")) << "what can be read stays";
    Close();
    Open(recorder.Port());
    EXPECT_EQ(console->findChild<QMessageBox*>(), nullptr);

    // A newer program's view of this name is not shown, and is kept aside when the name is taken.
    Close();
    store(Registry().GetSections("Views\\Each").at(0),
          QByteArray(good).replace("\"version\": 1", "\"version\": 2"));
    Open(recorder.Port());
    EXPECT_EQ(console->ViewNames(), "");
    ASSERT_TRUE(Views().Save("Night"));
    EXPECT_EQ(Registry().GetSections("Views\\Aside").size(), 2u);
    EXPECT_EQ(console->ViewNames(), "Night");
}

// A file of a share that is gone: nothing comes of it, and nobody waits for it.
TEST_F(NamedViews, AFileThatHangsCanBeStopped) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    ASSERT_TRUE(Views().Save("Mine"));
    ViewsDialog& dialog = *OpenDialog();
    auto& stop = *dialog.findChild<QPushButton*>("stop");
    auto& open = *dialog.findChild<QPushButton*>("import");
    const auto says = [&](std::uint32_t text) {
        return PumpUntil(
            [&] { return dialog.findChild<QLabel*>("message")->text().toStdString() == LoadString(text); });
    };
    EXPECT_FALSE(stop.isVisible());
    const std::string pipe = folder.File("pipe.kvviews");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    Click(dialog, "import");
    auto& choice = *dialog.findChild<QFileDialog*>();
    emit choice.fileSelected(QString::fromStdString(pipe));
    choice.close();
    ASSERT_TRUE(says(7451));
    EXPECT_FALSE(open.isEnabled());
    ASSERT_TRUE(stop.isVisible());
    PressKey(stop, Qt::Key_Space);
    EXPECT_TRUE(says(7452));
    EXPECT_FALSE(stop.isVisible());
    EXPECT_TRUE(open.isEnabled());
    // What comes of it later is not heard of.
    std::ofstream(pipe) << "late";
    EXPECT_TRUE(PumpUntil([] { return Worker::AbandonedCount() == 0; }));
    Pump();
    EXPECT_TRUE(says(7452));
    EXPECT_THAT(Names(dialog), ElementsAre("Mine"));
}
