// One page of recorded files: two rows of three thumbnails, one of them selected.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "ui/base/mw_ui_base.h"
#include "ui/base/varno_mwin_utils.h"
#include "ui/media/explorer_selection.h"
#include "ui/media/media_files.h"

// A small picture, and the pixels it lies over when they are not its own; the picture goes first.
struct Thumbnail {
    std::unique_ptr<std::uint32_t[]> pixels;
    Varno::Image image;  // null: nothing to be seen
};

// UI thread.
class CVarnoUICtrl2LineExplorer final : public CMWUIBase {
  public:
    // Null when it cannot be made; empty and hidden at first.
    static CVarnoUICtrl2LineExplorer* CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width, int height);
    using CMWUIBase::CMWUIBase;
    ~CVarnoUICtrl2LineExplorer() override;
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

    // What the paths of the page are.
    void SetMediaType(MEDIA_TYPE type) { m_mediaType = type; }
    // Shows a page of up to six files, by their paths on the device; what cannot be read leaves its cell empty.
    void InitPicList(const std::list<std::string>& paths);
    void DeinitPicList();
    // Pictures on the page, empty cells among them.
    unsigned GetTotalItemNum() const { return static_cast<unsigned>(m_pictures.size()); }

    // The selected cell, 0 to 5, the upper row first. Another one is ignored.
    unsigned GetCurrentPos() const { return m_nCurPos; }
    void SetCurPos(unsigned pos);
    // Where an arrow key pressed on the control leads.
    unsigned MovedPos(ExplorerMove move) const;
    // Press an arrow key on the control: within the page, left and right wrap, and down does from the lower row.
    void MoveV(bool up);
    void MoveH(bool left);
    void Refresh();

    // First picture of a clip, as large as the display shows it.
    static Thumbnail GetVideoFirstFrame(const std::string& path);

  private:
    Thumbnail LoadThumbnail(const std::string& path) const;
    void HandleKeyDown(WPARAM key);
    RECT CellRect(unsigned cell) const;
    void RefreshCell(unsigned cell) const;
    void DrawAllPics(HDC dc) const;
    void DrawCell(HDC dc, unsigned cell) const;

    MEDIA_TYPE m_mediaType = Media_Unknown;
    std::vector<Thumbnail> m_pictures;
    unsigned m_nCurPos = 0;
};
