// The media browser's grid and paging, driven by keys.
#include <filesystem>
#include <sstream>

#include "tests/ui/ui_fixture.h"
#include "ui/media/varno_ui_ctrl_2line_explorer.h"
#include "ui/media/varno_ui_dlg_media_explore.h"

namespace ui_test {
namespace {

class MediaBrowser : public UiTest {
  protected:
    MediaBrowser() { SetSpace(100000); }

    static std::string Name(int number) { return (number < 10 ? "0" : "") + std::to_string(number) + ".jpg"; }
    // Exactly so many photos on the card, all of them empty files.
    void PutPhotos(int count) {
        std::filesystem::remove_all(kernel.Path(kFolder));
        std::filesystem::create_directories(kernel.Path(kFolder));
        for (int i = 1; i <= count; ++i)
            kernel.Put(std::string(kFolder) + "/" + Name(i), "");
    }
    // Runs the browser until `session` has returned and F1 was pressed; DoModel's result.
    int Browse(const std::function<void()>& session, MEDIA_TYPE type = Media_Photo) {
        const std::unique_ptr<CVarnoUIDlgMediaExplore> dialog(
            CVarnoUIDlgMediaExplore::CreateNew(Instance(), parent, type));
        clock.WhenIdle([&] {
            session();
            Press(VK_F1);
        });
        return dialog->DoModel();
    }
    void WaitForThePage() { Pass(300); }
    void Press(int key) {
        keys.Type(key);
        RunUntilIdle();
    }
    // What the line below the thumbnails says.
    static std::string PageText() {
        for (HWND child = GetWindow(GetActiveWindow(), GW_CHILD); child != nullptr;
             child = GetWindow(child, GW_HWNDNEXT)) {
            const std::string text = TextOf(child);
            if (text.find(" / ") != std::string::npos) return text;
        }
        return {};
    }
    static int Item() { return std::atoi(PageText().c_str()); }
    void GoTo(int item) {
        while (Item() > item)
            Press(VK_LEFT);
        while (Item() < item)
            Press(VK_RIGHT);
    }

    static constexpr const char* kFolder = "/media/sd-mmcblk0p1/DCIM";
};

// Where Up and Down lead from each item, for 1 to 20 of them.
constexpr struct {
    const char *up, *down;
} kMoves[] = {
    {"1", "1"},
    {"1 2", "1 2"},
    {"1 2 3", "1 2 3"},
    {"4 2 3 1", "4 4 4 1"},
    {"4 5 3 1 2", "4 5 5 1 2"},
    {"4 5 6 1 2 3", "4 5 6 1 2 3"},
    {"7 7 7 1 2 3 4", "4 5 6 7 7 7 1"},
    {"7 8 8 1 2 3 4 5", "4 5 6 7 8 8 1 2"},
    {"7 8 9 1 2 3 4 5 6", "4 5 6 7 8 9 1 2 3"},
    {"10 8 9 1 2 3 4 5 6 7", "4 5 6 7 8 9 10 10 10 1"},
    {"10 11 9 1 2 3 4 5 6 7 8", "4 5 6 7 8 9 10 11 11 1 2"},
    {"10 11 12 1 2 3 4 5 6 7 8 9", "4 5 6 7 8 9 10 11 12 1 2 3"},
    {"13 13 13 1 2 3 4 5 6 7 8 9 10", "4 5 6 7 8 9 10 11 12 13 13 13 1"},
    {"13 14 14 1 2 3 4 5 6 7 8 9 10 11", "4 5 6 7 8 9 10 11 12 13 14 14 1 2"},
    {"13 14 15 1 2 3 4 5 6 7 8 9 10 11 12", "4 5 6 7 8 9 10 11 12 13 14 15 1 2 3"},
    {"16 14 15 1 2 3 4 5 6 7 8 9 10 11 12 13", "4 5 6 7 8 9 10 11 12 13 14 15 16 16 16 1"},
    {"16 17 15 1 2 3 4 5 6 7 8 9 10 11 12 13 14", "4 5 6 7 8 9 10 11 12 13 14 15 16 17 17 1 2"},
    {"16 17 18 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15", "4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 1 2 3"},
    {"19 19 19 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16", "4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 19 19 1"},
    {"19 20 20 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17", "4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 20 1 2"},
};

TEST_F(MediaBrowser, MovesOverAllCountsAndCells) {
    int total = 0;
    for (const auto& moves : kMoves) {
        PutPhotos(++total);
        SCOPED_TRACE(total);
        const auto session = [&] {
            WaitForThePage();
            const std::string of_total = " / " + std::to_string(total);
            EXPECT_EQ(PageText(), std::to_string((total - 1) / 6 * 6 + 1) + of_total) << "the last page";
            std::istringstream up(moves.up), down(moves.down);
            for (int item = 1; item <= total; ++item) {
                const int first_on_page = (item - 1) / 6 * 6 + 1;
                int above = 0, below = 0;
                ASSERT_TRUE(up >> above && down >> below);
                const struct {
                    int key, expected;
                } cases[] = {{VK_UP, above},
                             {VK_DOWN, below},
                             {VK_LEFT, item > 1 ? item - 1 : std::min(total, 6)},
                             {VK_RIGHT, item < total ? item + 1 : first_on_page}};
                for (const auto& c : cases) {
                    GoTo(item);
                    Press(c.key);
                    EXPECT_EQ(PageText(), std::to_string(c.expected) + of_total) << "key " << c.key << " on " << item;
                }
            }
        };
        EXPECT_EQ(Browse(session), CVarnoUIDlgMediaExplore::kUserLeft);
    }
}

TEST_F(MediaBrowser, AnEmptyListOnlyLetsGo) {
    struct Case {
        const char* name;
        std::function<void()> prepare;
        const char* text;
    };
    for (const Case& c : {Case{"no files", [this] { PutPhotos(0); }, "0 / 0"},
                          Case{"no folder", [this] { std::filesystem::remove_all(kernel.Path(kFolder)); }, "0 / 0"},
                          Case{"no medium", [this] { SetSpace(-1); }, ""}}) {
        SCOPED_TRACE(c.name);
        c.prepare();
        const auto session = [&] {
            WaitForThePage();
            for (const int key : {VK_UP, VK_DOWN, VK_LEFT, VK_RIGHT, VK_RETURN, VK_F2, VK_F3}) {
                Press(key);
                EXPECT_EQ(PageText(), c.text) << key;
            }
        };
        EXPECT_EQ(Browse(session), CVarnoUIDlgMediaExplore::kUserLeft);
        EXPECT_TRUE(kernel.Commands().empty());
    }
}

TEST_F(MediaBrowser, KeysWaitForThePage) {
    PutPhotos(20);
    const auto session = [&] {
        EXPECT_EQ(PageText(), "");
        for (const int key : {VK_UP, VK_RIGHT})
            Press(key);
        WaitForThePage();
        EXPECT_EQ(PageText(), "17 / 20");
        Press(VK_LEFT);
        EXPECT_EQ(PageText(), "16 / 20");
    };
    EXPECT_EQ(Browse(session), CVarnoUIDlgMediaExplore::kUserLeft);
    EXPECT_THAT(PrintedSoFar(),
                testing::HasSubstr("FileExplorer state FILE_EXP_IDLE to FILE_EXP_WAIT_ALL_FILE\n"
                                   "FileExplorer state FILE_EXP_WAIT_ALL_FILE to FILE_EXP_LOAD_ALL_FILE\n"
                                   "FileExplorer state FILE_EXP_LOAD_ALL_FILE to FILE_EXP_REFRESH_LISTBOX\n"
                                   "FileExplorer state FILE_EXP_REFRESH_LISTBOX to FILE_EXP_IDLE\n"));
}

TEST_F(MediaBrowser, ListsOrdinaryFilesOfTheChosenKind) {
    PutPhotos(0);
    const std::string folder = std::string(kFolder) + "/";
    for (const char* name : {"b.JPG", "A.jpg", "a.Jpg", ".c.jpg", "d.jpeg", "e.png", "f.avi", "g", "jpg", "G.AVI"})
        kernel.Put(folder + name, "");
    std::filesystem::create_directories(kernel.Path(folder + "x.jpg/y.jpg"));
    std::filesystem::create_symlink("nowhere", kernel.Path(folder + "z.jpg"));
    std::vector<std::string> names;
    for (const FileList& file : ListMediaFiles(kFolder, FileList::kPhoto))
        names.push_back(file.m_strName + " " + file.m_strPath);
    const std::string prefix = std::string(" ") + kFolder + "/";
    EXPECT_THAT(names, testing::ElementsAre("A.jpg" + prefix + "A.jpg", "a.Jpg" + prefix + "a.Jpg",
                                            "b.JPG" + prefix + "b.JPG"));
    EXPECT_EQ(ListMediaFiles(kFolder, FileList::kClip).size(), 2U);
    EXPECT_EQ(Browse(
                  [&] {
                      WaitForThePage();
                      EXPECT_EQ(PageText(), "1 / 2");
                  },
                  Media_Video),
              CVarnoUIDlgMediaExplore::kUserLeft);
    EXPECT_TRUE(ListMediaFiles("/media/none", FileList::kClip).empty());
    EXPECT_THAT(PrintedSoFar(), testing::HasSubstr("ERROR(No such file or directory): open /media/none.\n"));
}

TEST_F(MediaBrowser, GridOnItsOwn) {
    PutPhotos(6);
    const std::unique_ptr<CVarnoUICtrl2LineExplorer> grid(
        CVarnoUICtrl2LineExplorer::CreateNew(Instance(), parent, 0, 38, 320, 165));
    ASSERT_NE(grid, nullptr);
    grid->Show(SW_SHOW);
    const auto move = [&](const char* key) {
        if (key[0] == 'u' || key[0] == 'd') grid->MoveV(key[0] == 'u');
        if (key[0] == 'l' || key[0] == 'r') grid->MoveH(key[0] == 'l');
        return grid->GetCurrentPos();
    };
    const struct {
        unsigned pictures, from;
        const char* key;
        unsigned to;
    } cases[] = {{0, 0, "left", 0}, {0, 0, "right", 0}, {6, 0, "left", 5}, {6, 5, "right", 0},
                 {4, 0, "left", 3}, {4, 3, "right", 0}, {6, 1, "up", 1},   {6, 4, "up", 1},
                 {6, 1, "down", 4}, {6, 4, "down", 1},  {4, 2, "down", 5}, {6, 3, "right", 4}};
    for (const auto& c : cases) {
        std::list<std::string> paths;
        for (unsigned i = 1; i <= c.pictures; ++i)
            paths.push_back(std::string(kFolder) + "/" + Name(static_cast<int>(i)));
        grid->InitPicList(paths);
        EXPECT_EQ(grid->GetTotalItemNum(), c.pictures);
        grid->SetCurPos(c.from);
        EXPECT_EQ(move(c.key), c.to) << c.pictures << " pictures, " << c.key << " from " << c.from;
    }
    grid->SetCurPos(2);
    grid->SetCurPos(6);
    EXPECT_EQ(grid->GetCurrentPos(), 2U);
}

}  // namespace
}  // namespace ui_test
