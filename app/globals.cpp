#include "app/globals.h"

CVarnoSVMain* m_pMain = nullptr;
std::atomic<int> videoflag{1};
bool m_isNewOutputSet = false;
int scr_width = 0;
MainWindowHooks g_mainWindowHooks;
