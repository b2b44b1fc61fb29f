#include "mwin/evdev_keys.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace mwin {
namespace {

constexpr auto kRescanPeriod = std::chrono::seconds(1);
// What one Read takes in before it hands out.
constexpr std::size_t kMaxWaiting = 256;

bool IsSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_rdev == b.st_rdev;
}

}  // namespace

EvdevKeys::EvdevKeys(std::string directory, KeyMap map) : directory_(std::move(directory)), map_(std::move(map)) {
    CheckDirectory();
}

// Finds out whether devices came or went.
void EvdevKeys::CheckDirectory() {
    if (watch_.IsValid()) {
        alignas(inotify_event) char changes[4096];
        bool changed = false;
        bool lost = false;
        ssize_t size = 0;
        while ((size = read(watch_.Get(), changes, sizeof changes)) > 0) {
            changed = true;
            for (ssize_t at = 0; at < size;) {
                inotify_event change;
                std::memcpy(&change, changes + at, sizeof change);
                lost = lost || (change.mask & (IN_IGNORED | IN_UNMOUNT)) != 0;
                at += static_cast<ssize_t>(sizeof change + change.len);
            }
        }
        if (lost) watch_.Reset();
        if (changed) Rescan();
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now - last_scan_ < kRescanPeriod && last_scan_.time_since_epoch().count() != 0) return;
    watch_.Reset(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    // Attributes too: a node may become readable only after it was made.
    constexpr std::uint32_t kChanges = IN_CREATE | IN_ATTRIB | IN_DELETE | IN_MOVE | IN_ONLYDIR;
    if (watch_.IsValid() && inotify_add_watch(watch_.Get(), directory_.c_str(), kChanges) < 0) watch_.Reset();
    Rescan();
}

void EvdevKeys::Rescan() {
    last_scan_ = std::chrono::steady_clock::now();
    for (auto it = devices_.begin(); it != devices_.end();) {
        struct stat node {};
        struct stat open_file {};
        const bool stays = stat((directory_ + "/" + it->first).c_str(), &node) == 0 &&
                           fstat(it->second->fd.Get(), &open_file) == 0 && IsSameFile(node, open_file);
        it = stays ? std::next(it) : devices_.erase(it);
    }
    DIR* directory = opendir(directory_.c_str());
    if (directory == nullptr) return;
    while (const dirent* entry = readdir(directory)) {
        if (strncmp(entry->d_name, "event", 5) != 0 || devices_.count(entry->d_name) != 0) continue;
        const std::string path = directory_ + "/" + entry->d_name;
        // Also open for writing, so that a pipe in a device's place does not end with its writer.
        int fd = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) continue;
        auto device = std::make_unique<Device>();
        device->fd.Reset(fd);
        devices_.emplace(entry->d_name, std::move(device));
    }
    closedir(directory);
}

// Takes in what a device has; false when it is gone.
bool EvdevKeys::ReadDevice(Device& device) {
    while (waiting_.size() < kMaxWaiting) {
        const ssize_t size = read(device.fd.Get(), device.bytes + device.filled, sizeof device.bytes - device.filled);
        if (size < 0 && errno == EINTR) continue;
        if (size <= 0) return size < 0 && errno == EAGAIN;
        device.filled += static_cast<std::size_t>(size);
        std::size_t used = 0;
        for (; device.filled - used >= sizeof(input_event); used += sizeof(input_event)) {
            input_event event;
            std::memcpy(&event, device.bytes + used, sizeof event);
            Take(device, event);
        }
        device.filled -= used;
        std::memmove(device.bytes, device.bytes + used, device.filled);
    }
    return true;
}

void EvdevKeys::Take(Device& device, const input_event& event) {
    if (event.type == EV_SYN) {
        if (event.code == SYN_DROPPED) device.lost_events = true;
        if (event.code == SYN_REPORT) device.lost_events = false;
        return;
    }
    const int key = map_.VirtualKeyOf(event.code);
    if (event.type != EV_KEY || key == 0 || device.lost_events || event.value < 0 || event.value > 2) return;
    constexpr KeyEvent::Kind kKinds[] = {KeyEvent::Kind::Release, KeyEvent::Kind::Press, KeyEvent::Kind::Repeat};
    waiting_.push_back({key, kKinds[event.value]});
}

bool EvdevKeys::Read(KeyEvent& event) {
    if (waiting_.empty()) {
        CheckDirectory();
        bool dropped = false;
        for (auto it = devices_.begin(); it != devices_.end();) {
            const bool stays = ReadDevice(*it->second);
            dropped = dropped || !stays;
            it = stays ? std::next(it) : devices_.erase(it);
        }
        // One that came back under the same name was not opened while the old one was still held.
        if (dropped) Rescan();
    }
    if (waiting_.empty()) return false;
    event = waiting_.front();
    waiting_.pop_front();
    return true;
}

std::vector<int> EvdevKeys::Descriptors() const {
    std::vector<int> descriptors;
    if (watch_.IsValid()) descriptors.push_back(watch_.Get());
    for (const auto& device : devices_)
        descriptors.push_back(device.second->fd.Get());
    return descriptors;
}

}  // namespace mwin
