// Mounted storage: where the media are, and how much room they have. Thread-safe.
#pragma once

#include <string>

namespace Varno {

// What to drop from the kernel's caches; the values are those of /proc/sys/vm/drop_caches.
enum KernelCacheType {
    K_CACHE_PAGE = 1,
    K_CACHE_DentriesAndiNodes = 2,
    K_CACHE_ALL = 3,
};

// Mount point of the first mount of `device` as `fstype`; empty when there is none.
std::string GetMountpoint(const std::string& device, const std::string& fstype);
// Mount point of the internal storage image, without a trailing slash; empty when it is not mounted.
std::string GetNandDataPart();

// Directory of the first card in sysfs ("/sys/block/mmcblk0"); empty when there is no card.
std::string GetMMCBlockSysDir();
// Mount point of the card's first partition; empty when there is no card or it is not mounted. A card whose partition
// cannot be read is reported on standard output.
std::string GetMMCFirstPart();
// Device node of the card's first partition ("/dev/mmcblk0p1"); empty, and reported, as above.
std::string GetMMCFirstPartDev();

// Free space in KiB, rounded to the nearest, of the file system that holds `path`; at most INT_MAX; -1 when unknown.
int GetAvailDiskSpace(const std::string& path);
// The same of the internal storage and of the card.
int GetUserNandAvailableSpace();
int GetFirstMMCAvailableSpace();

// Drops the kernel's clean caches.
void ReleaseVMCache(KernelCacheType type);

}  // namespace Varno
