// The busy picture while something takes long.
#pragma once

#include "ui/base/varno_mwin_utils.h"

// Shows the shared busy picture over everything, at once and also while the UI thread then blocks, until it goes. The
// picture itself is the program's, from its start to its end. One at a time. UI thread.
class BusyPicture {
  public:
    BusyPicture() { Varno::ShowFunnel(true); }
    ~BusyPicture() { Varno::ShowFunnel(false); }
    BusyPicture(const BusyPicture&) = delete;
    BusyPicture& operator=(const BusyPicture&) = delete;
};
