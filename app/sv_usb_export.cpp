// The main window's storage, lent to a PC as two logical units of a mass-storage device: 0 the internal storage, 1 the
// card.
#include <cstdio>
#include <string>

#include "app/sv_main.h"
#include "sys/kernel.h"
#include "sys/varno_sv_utils.h"
#include "ui/base/varno_ui_dialog.h"

namespace {

constexpr char kNandUnit[] = " > /sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun0/file";
constexpr char kCardUnit[] = " > /sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun1/file";
constexpr char kNandDevice[] = "/dev/loop0 ";

int Run(const std::string& command) {
    return Varno::kernel().System(command.c_str());
}

void Withdraw(const char* unit) {
    const std::string command = std::string("/bin/echo \"\"") + unit;
    if (Run(command) < 0) printf("Error: Excute %s\n", command.c_str());
}

// The PC may have changed the file systems, so they are mounted anew.
void TakeCardBack(const std::string& mount_point) {
    Varno::ReleaseVMCache(Varno::K_CACHE_PAGE);
    Withdraw(kCardUnit);
    Run("/bin/umount  -f  " + mount_point);
    Run("mount -t vfat /dev/mmcblk0p1  /media/sd-mmcblk0p1");
    Varno::ReleaseVMCache(Varno::K_CACHE_PAGE);
}

void TakeNandBack() {
    Withdraw(kNandUnit);
    Run("/bin/umount  -f   /media/nand");
    Run(std::string("/bin/mount -t vfat ") + kNandDevice + " /media/nand");
}

}  // namespace

// A menu is closed first, and with it every file that is open for playing or browsing; whoever opened it goes on,
// before lamp and camera come back.
void CVarnoSVMain::ExportStorage() {
    m_bExportDue = m_dlgCurDlg != nullptr;
    if (m_bExportDue) {
        m_dlgCurDlg->CloseFromOutside();
        return;
    }
    m_bTimerContinue = false;
    EnterMenu();
    // The PC reads below the file systems: what is still in memory only would be missing there.
    Varno::kernel().Sync();
    const std::string card = Varno::GetMMCFirstPart();
    if (!card.empty()) Run("/bin/echo  " + Varno::TrimDIR(Varno::GetMMCFirstPartDev()) + kCardUnit);
    Run(std::string("/bin/echo  ") + kNandDevice + kNandUnit);
    ShowWarning(WARNBOX_USB_DEVICE);
    if (!card.empty()) TakeCardBack(card);
    TakeNandBack();
    m_bTimerContinue = true;
    ExitMenu();
}
