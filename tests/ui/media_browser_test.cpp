// The media browser's grid and paging, driven by keys.
#include <random>

#include "tests/ui/ui_fixture.h"
#include "ui/media/explorer_selection.h"
#include "ui/media/varno_ui_ctrl_2line_explorer.h"
#include "ui/media/varno_ui_dlg_media_explore.h"

namespace ui_test {
namespace {

using testing::HasSubstr;

constexpr std::uint32_t kSelectedPixel = 0xFFF2B233;
constexpr const char* kFolder = "/media/sd-mmcblk0p1/DCIM";

// Over all counts and items.
TEST(ExplorerSelection, MovesAlongRowsAndColumns) {
    // Where Up leads on the last page, from the first page's upper row, by the pictures on it: 6 and 1 to 5.
    const char* const last_page[] = {"345", "000", "011", "012", "312", "342"};
    for (unsigned total = 1; total <= 25; ++total) {
        const unsigned page = (total - 1) / 6 * 6;
        for (unsigned item = 0; item < total; ++item) {
            SCOPED_TRACE(testing::Message() << item << " of " << total);
            const bool lowest = (total - 1) / 3 == item / 3;
            const unsigned around = page + static_cast<unsigned>(last_page[total % 6][item % 3] - '0');
            EXPECT_EQ(MovedItem(item, total, ExplorerMove::Up), item < 3 ? around : item - 3);
            EXPECT_EQ(MovedItem(item, total, ExplorerMove::Down), lowest ? item % 3 : std::min(item + 3, total - 1));
            EXPECT_EQ(MovedItem(item, total, ExplorerMove::Left), item > 0 ? item - 1 : total - 1);
            EXPECT_EQ(MovedItem(item, total, ExplorerMove::Right), item + 1 < total ? item + 1 : 0);
        }
    }
}

class MediaBrowser : public UiTest {
  protected:
    MediaBrowser() { SetSpace(100000); }

    // So many photos on the card, all of them empty files.
    void PutPhotos(unsigned count) {
        std::filesystem::remove_all(kernel.Path(kFolder));
        std::filesystem::create_directories(kernel.Path(kFolder));
        for (unsigned i = 0; i < count; ++i)
            kernel.Put(std::string(kFolder) + "/" + std::to_string(10 + i) + ".jpg", "");
    }
    // Runs the browser until `session` has returned and F1 was pressed.
    void Browse(MEDIA_TYPE type, const std::function<void()>& session) {
        clock.steps.emplace_back(session);
        EXPECT_EQ(Run<CVarnoUIDlgMediaExplore>({VK_F1}, type), CVarnoUIDlgMediaExplore::kUserLeft);
    }
    void Press(int key) {
        keys.Type(key);
        RunUntilIdle();
    }
    // What the line below the thumbnails says.
    static std::string PageText() {
        for (HWND child : Children(GetActiveWindow())) {
            if (TextOf(child).find(" / ") != std::string::npos) return TextOf(child);
        }
        return {};
    }
    // The one cell that is framed as selected; -1 for none, -2 for several.
    int Framed() {
        FlushNow();
        int framed = -1;
        for (int cell = 0; cell < 6; ++cell) {
            if (At(55 + 105 * (cell % 3), 41 + 80 * (cell / 3)) == kSelectedPixel) framed = framed == -1 ? cell : -2;
        }
        return framed;
    }
};

TEST_F(MediaBrowser, KeysWalkOverThePages) {
    const int codes[] = {VK_LEFT, VK_RIGHT, VK_UP, VK_DOWN};  // of the moves
    for (const unsigned total : {0U, 1U, 4U, 6U, 7U, 11U, 20U}) {
        SCOPED_TRACE(testing::Message() << total << " photos, which is the seed, too");
        std::mt19937 random(total);
        PutPhotos(total);
        long turns = 0;
        Printed();
        Browse(Media_Photo, [&] {
            Press(VK_RIGHT);
            EXPECT_EQ(PageText(), "") << "keys wait for the page";
            Pass(200);
            EXPECT_TRUE(Busy());
            Pass(100);
            unsigned item = MovedItem(total < 7 ? 0 : (total - 1) / 6 * 6, total, ExplorerMove::Right);
            for (int i = 0; i < 150; ++i) {
                EXPECT_EQ(PageText(), std::to_string(total == 0 ? 0 : item + 1) + " / " + std::to_string(total));
                EXPECT_EQ(Framed(), total == 0 ? -1 : static_cast<int>(item % 6));
                const auto move = static_cast<ExplorerMove>(random() % 4);
                Press(codes[static_cast<int>(move)]);
                const unsigned from = std::exchange(item, MovedItem(item, total, move));
                turns += move == ExplorerMove::Down && from / 6 != item / 6 ? 1 : 0;
            }
        });
        const std::string printed = Printed();
        EXPECT_THAT(printed, HasSubstr("FileExplorer state FILE_EXP_WAIT_ALL_FILE to FILE_EXP_LOAD_ALL_FILE\n"
                                       "FileExplorer state FILE_EXP_LOAD_ALL_FILE to FILE_EXP_REFRESH_LISTBOX\n"));
        EXPECT_EQ(std::count(printed.begin(), printed.end(), '+'), 2 * turns);
    }
}

// What a key does to a picture that was not seen yet is not what was meant; the viewer's neighbours are.
TEST_F(MediaBrowser, TheSelectionIsThePictureThatWasSeen) {
    PutPhotos(8);
    clock.steps.emplace_back([&] {
        keys.Type(VK_RETURN);
        Pass(300);
        for (const int key : {VK_LEFT, VK_UP, VK_RETURN, VK_F2, VK_RIGHT})  // the first turns the page
            keys.Type(key);
        RunUntilIdle();
        EXPECT_EQ(PageText(), "4 / 8");
    });
    for (const int key : {VK_RETURN, VK_DOWN, VK_DOWN, VK_DOWN, VK_F1})
        clock.steps.emplace_back([this, key] { keys.Type(key); });
    clock.steps.emplace_back([&] {
        EXPECT_EQ(PageText(), "7 / 8");
        EXPECT_EQ(Framed(), 0);
    });
    Run<CVarnoUIDlgMediaExplore>({VK_F1}, Media_Photo);
    EXPECT_THAT(kernel.Commands(), testing::Not(testing::Contains(HasSubstr("rm "))));
}

TEST_F(MediaBrowser, TheOnlyPhotoIsNamedThoughBrokenAndClosesTheBrowserWhenDeleted) {
    PutPhotos(1);
    kernel.on_system = [this](const std::string& command) {
        if (command.find("rm ") != 0) return 0;
        EXPECT_EQ(At(55, 41), kSelectedPixel) << "the question is gone";
        EXPECT_GT(Count({150, 120, 165, 141}, kWhitePixel), 0);
        PutPhotos(0);
        return 0;
    };
    clock.steps.emplace_back([&] {
        Pass(300);
        keys.Type(VK_RETURN);
    });
    clock.steps.emplace_back([&] {
        FlushNow();
        EXPECT_GT(Count({0, 110, 320, 130}, kWhitePixel), 0) << "its name";
    });
    EXPECT_EQ(Run<CVarnoUIDlgMediaExplore>({VK_F1, VK_F2, VK_RETURN, VK_F1}, Media_Photo), 8);
}

TEST_F(MediaBrowser, ListsOrdinaryFilesOfTheChosenKind) {
    PutPhotos(0);
    const std::string folder = std::string(kFolder) + "/";
    for (const char* name : {"b.JPG", "A.jpg", "a.Jpg", ".c.jpg", "d.jpeg", "e.png", "f.avi", "g", "jpg", "G.AVI"})
        kernel.Put(folder + name, "");
    std::filesystem::create_directories(kernel.Path(folder + "x.jpg/y.jpg"));
    std::filesystem::create_symlink("nowhere", kernel.Path(folder + "z.jpg"));
    std::string names;
    for (const FileList& file : ListMediaFiles(kFolder, FileList::kPhoto))
        names += file.m_strName + " " + file.m_strPath.substr(folder.size()) + " ";
    EXPECT_EQ(names, "A.jpg A.jpg a.Jpg a.Jpg b.JPG b.JPG ");
    Browse(Media_Video, [&] {
        Pass(300);
        EXPECT_EQ(PageText(), "1 / 2");
    });
    EXPECT_TRUE(ListMediaFiles("/media/none", FileList::kClip).empty());
    EXPECT_THAT(Printed(), HasSubstr("ERROR(No such file or directory): open /media/none.\n"));
}

TEST_F(MediaBrowser, GridOnItsOwn) {
    using Grid = CVarnoUICtrl2LineExplorer;
    const std::unique_ptr<Grid> grid(Grid::CreateNew(Instance(), parent, 0, 38, 320, 165));
    grid->InitPicList(std::list<std::string>(4, "none.jpg"));
    EXPECT_EQ(grid->GetTotalItemNum(), 4U);
    std::string led;
    for (const auto move : {&Grid::MoveH, &Grid::MoveV}) {
        for (const bool back : {true, false}) {
            for (unsigned cell = 0; cell < 4; ++cell) {
                grid->SetCurPos(cell);
                grid->SetCurPos(6);
                (grid.get()->*move)(back);
                led += std::to_string(grid->GetCurrentPos());
            }
        }
    }
    EXPECT_EQ(led, "3012123001203450");
}

}  // namespace
}  // namespace ui_test
