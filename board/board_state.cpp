#include "board/board_state.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "board/camera_source.h"
#include "board/small_devices.h"

namespace board {
namespace {

using nlohmann::json;

constexpr const char* kTimeFormat = "%Y-%m-%dT%H:%M:%S";
constexpr std::int64_t kMaxMillivolts = 10000;
constexpr std::int64_t kMaxKib = std::int64_t{1} << 40;
constexpr std::int64_t kMaxWriteMs = 10000;

std::string FormatTime(std::time_t seconds) {
    std::tm fields{};
    gmtime_r(&seconds, &fields);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), kTimeFormat, &fields)};
}

std::optional<std::tm> ParseTime(const std::string& text) {
    std::tm fields{};
    const char* const end = strptime(text.c_str(), kTimeFormat, &fields);
    if (!end || *end != '\0' || fields.tm_year < 70 || fields.tm_year > 299) return std::nullopt;
    // The 31st of a shorter month parses, and would come back as another day.
    if (FormatTime(timegm(&fields)) != text) return std::nullopt;
    return fields;
}

// What /etc/lcdparams may hold.
constexpr std::array<std::string_view, 4> kDisplays = {"lcd_panel=ili9341", "lcd_panel=lq035", "lcd_panel=tvenc_ntsc",
                                                       "lcd_panel=tvenc_pal"};

json FaultNames(std::uint32_t faults) {
    json names = json::array();
    for (const auto& [fault, name] : kCameraFaultNames) {
        if (faults & fault) names.push_back(name);
    }
    return names;
}

json Commands(const CommandRing& ring) {
    json lines = json::array();
    for (std::uint32_t i = ring.count - std::min<std::uint32_t>(ring.count, kCommandRingSize); i != ring.count; ++i) {
        lines.push_back(ring.commands[i % kCommandRingSize].line);
    }
    return lines;
}

// What a change has to be. Each reader throws std::invalid_argument with the member's name and what it wants.

[[noreturn]] void Refuse(const std::string& name, const std::string& reason) {
    throw std::invalid_argument(name + ": " + reason);
}

bool Flag(const std::string& name, const json& value) {
    if (!value.is_boolean()) Refuse(name, "wants true or false");
    return value.get<bool>();
}

std::int64_t Number(const std::string& name, const json& value, std::int64_t most) {
    const bool fits = value.is_number_unsigned() && value.get<std::uint64_t>() <= static_cast<std::uint64_t>(most);
    if (!fits) Refuse(name, "wants a whole number from 0 to " + std::to_string(most));
    return value.get<std::int64_t>();
}

std::string Text(const std::string& name, const json& value) {
    if (!value.is_string()) Refuse(name, "wants a text");
    return value.get<std::string>();
}

std::string Source(const std::string& name, const json& value) {
    constexpr std::string_view kFile = "file:";
    std::string source = Text(name, value);
    if (source.find('\0') != std::string::npos) Refuse(name, "holds a zero byte");
    // The program opens it from a working directory of its own.
    if (source.compare(0, kFile.size(), kFile) == 0 && source.size() > kFile.size()) {
        source = std::string(kFile) + std::filesystem::absolute(source.substr(kFile.size())).string();
    }
    if (source.size() >= sizeof(CameraState::source)) Refuse(name, "is too long");
    std::string error;
    if (!OpenCameraSource(source, error)) Refuse(name, error);
    return source;
}

std::uint32_t Faults(const std::string& name, const json& value) {
    if (!value.is_array()) Refuse(name, "wants a list of faults");
    std::uint32_t faults = 0;
    for (const json& item : value) {
        const std::string wanted = Text(name, item);
        const auto* const known = std::find_if(kCameraFaultNames.begin(), kCameraFaultNames.end(),
                                               [&](const CameraFaultName& fault) { return fault.name == wanted; });
        if (known == kCameraFaultNames.end()) Refuse(name, "there is no fault '" + wanted + "'");
        faults |= known->fault;
    }
    return faults;
}

std::tm Time(const std::string& name, const json& value) {
    const auto time = ParseTime(Text(name, value));
    if (!time) Refuse(name, "wants a time like 2012-01-31T23:59:59");
    return *time;
}

std::string LcdParameters(const std::string& name, const json& value) {
    std::string wanted = Text(name, value);
    if (std::find(kDisplays.begin(), kDisplays.end(), wanted) == kDisplays.end()) {
        std::string known;
        for (const std::string_view display : kDisplays)
            known += (known.empty() ? "" : ", ") + std::string(display);
        Refuse(name, "wants one of " + known);
    }
    return wanted;
}

// Checks changes and keeps them, so that all or none are made.
class Changes {
  public:
    Changes(Block& block, BoardFolder& folder, BoardClock& clock) : block_(block), folder_(folder), clock_(clock) {}

    // Throws std::invalid_argument.
    void Check(const json& changes) {
        Each("", changes, [this](const std::string& name, const json& value) { CheckTop(name, value); });
    }

    void Make() const {
        for (const auto& change : changes_)
            change();
    }

  private:
    using Reader = std::function<void(const std::string& name, const json& value)>;

    static void Each(const std::string& where, const json& object, const Reader& reader) {
        if (!object.is_object()) Refuse(where.empty() ? "the body" : where, "wants an object");
        const std::string prefix = where.empty() ? where : where + ".";
        for (const auto& [name, value] : object.items())
            reader(prefix + name, value);
    }

    void CheckTop(const std::string& name, const json& value) {
        if (name == "camera") {
            Each(name, value, [this](const auto& inner, const json& part) { CheckCamera(inner, part); });
        } else if (name == "battery") {
            Each(name, value, [this](const auto& inner, const json& part) { CheckBattery(inner, part); });
        } else if (name == "card") {
            Each(name, value, [this](const auto& inner, const json& part) { CheckCard(inner, part); });
            SetRoom(name, Medium::Card);
        } else if (name == "nand") {
            Each(name, value, [this](const auto& inner, const json& part) { CheckNand(inner, part); });
            SetRoom(name, Medium::Nand);
        } else if (name == "usb_host") {
            Set(&Block::usb_host, Flag(name, value));
        } else if (name == "tv_cable") {
            Set(&Block::tv_cable, Flag(name, value));
        } else if (name == "lcdparams") {
            changes_.emplace_back(
                [this, parameters = LcdParameters(name, value)] { folder_.SetLcdParameters(parameters); });
        } else if (name == "power_off_requested") {
            Set(&Block::power_off_requested, Flag(name, value));
        } else if (name == "rtc") {
            changes_.emplace_back([this, fields = Time(name, value)] { WriteRtc(block_, clock_.WallClock(), fields); });
        } else {
            Refuse(name, "cannot be set");
        }
    }

    void CheckCamera(const std::string& name, const json& value) {
        if (name == "camera.plugged") {
            changes_.emplace_back([this, plugged = Flag(name, value)] { PlugCamera(block_, plugged); });
        } else if (name == "camera.source") {
            changes_.emplace_back([this, source = Source(name, value)] { SetCameraSource(block_, source); });
        } else if (name == "camera.faults") {
            changes_.emplace_back([this, faults = Faults(name, value)] {
                const BlockLock lock(block_);
                block_.camera.faults = faults;
            });
        } else {
            Refuse(name, "cannot be set");
        }
    }

    void CheckBattery(const std::string& name, const json& value) {
        if (name == "battery.millivolts") {
            Set(&Block::battery_millivolts, static_cast<std::int32_t>(Number(name, value, kMaxMillivolts)));
        } else if (name == "battery.charger") {
            Set(&Block::charger, Flag(name, value));
        } else {
            Refuse(name, "cannot be set");
        }
    }

    void CheckCard(const std::string& name, const json& value) {
        if (name == "card.inserted") {
            changes_.emplace_back([this, in = Flag(name, value)] { InsertMedium(block_, &Block::card, in); });
        } else if (name == "card.size_kib" || name == "card.free_kib") {
            TakeRoom(name, value);
        } else if (name == "card.read_only") {
            SetMedium(&Block::card, &MediumState::read_only, Flag(name, value));
        } else if (name == "card.write_ms") {
            SetMedium(&Block::card, &MediumState::write_ms,
                      static_cast<std::uint32_t>(Number(name, value, kMaxWriteMs)));
        } else {
            Refuse(name, "cannot be set");
        }
    }

    void CheckNand(const std::string& name, const json& value) {
        if (name == "nand.size_kib" || name == "nand.free_kib") {
            TakeRoom(name, value);
        } else if (name == "nand.mounted") {
            SetMedium(&Block::nand, &MediumState::mounted, Flag(name, value));
        } else {
            Refuse(name, "cannot be set");
        }
    }

    template <typename Value>
    void Set(Value Block::*field, Value value) {
        changes_.emplace_back([this, field, value] {
            const BlockLock lock(block_);
            block_.*field = value;
        });
    }

    template <typename Value>
    void SetMedium(MediumState Block::*medium, Value MediumState::*field, Value value) {
        changes_.emplace_back([this, medium, field, value] {
            const BlockLock lock(block_);
            block_.*medium.*field = value;
        });
    }

    void TakeRoom(const std::string& name, const json& value) {
        (name.find(".size_kib") != std::string::npos ? size_kib_ : free_kib_) = Number(name, value, kMaxKib);
    }

    // The size comes first, whatever their order: the free space has to fit in.
    void SetRoom(const std::string& name, Medium medium) {
        const auto size = std::exchange(size_kib_, std::nullopt);
        const auto free = std::exchange(free_kib_, std::nullopt);
        if (size && *size < folder_.UsedKib(medium) + free.value_or(0)) {
            Refuse(name + ".size_kib",
                   "is less than its files" + std::string(free ? " and the free space" : "") + " take");
        }
        if (size) changes_.emplace_back([this, medium, kib = *size] { folder_.SetSizeKib(medium, kib); });
        if (free) changes_.emplace_back([this, medium, kib = *free] { folder_.SetFreeKib(medium, kib); });
    }

    Block& block_;
    BoardFolder& folder_;
    BoardClock& clock_;
    std::vector<std::function<void()>> changes_;
    // Of the medium that is being looked at.
    std::optional<std::int64_t> size_kib_, free_kib_;
};

}  // namespace

json BoardState::Read() const {
    const std::int64_t card_free = folder_.FreeBytes(Medium::Card) / 1024;
    const std::int64_t nand_free = folder_.FreeBytes(Medium::Nand) / 1024;
    const ProgramProcess::Status program = program_.CurrentStatus();
    const std::int64_t now_ns = clock_.Monotonic().count();
    const std::time_t wall_clock = clock_.WallClock().tv_sec;

    const BlockLock lock(block_);
    const CameraState& camera = block_.camera;
    const PixelPipelineState& pxp = block_.pxp;
    const WatchdogState& watchdog = block_.watchdog;
    const std::int64_t left_ns = std::max<std::int64_t>(watchdog.deadline_ns - now_ns, 0);
    return {
        {"session", session_},
        {"camera",
         {{"plugged", camera.plugged},
          {"source", camera.source},
          {"width", camera.width},
          {"height", camera.height},
          {"fps", camera.fps},
          {"streaming", camera.streaming},
          {"frames", camera.frames},
          {"faults", FaultNames(camera.faults)}}},
        {"pxp",
         {{"streaming", pxp.streaming},
          {"output", pxp.output},
          {"width", pxp.source_width},
          {"height", pxp.source_height},
          {"rotation", pxp.rotation},
          {"hflip", pxp.hflip},
          {"vflip", pxp.vflip},
          {"frames", block_.video_sequence}}},
        {"lamp", block_.lamp},
        {"green_led", block_.green_led},
        {"battery", {{"millivolts", block_.battery_millivolts}, {"charger", block_.charger}}},
        {"card",
         {{"inserted", block_.card.present},
          {"mounted", block_.card.mounted},
          {"read_only", block_.card.read_only},
          {"handed_over", block_.card.handed_over},
          {"size_kib", block_.card.capacity_kib},
          {"free_kib", card_free},
          {"write_ms", block_.card.write_ms}}},
        {"nand",
         {{"mounted", block_.nand.mounted},
          {"handed_over", block_.nand.handed_over},
          {"size_kib", block_.nand.capacity_kib},
          {"free_kib", nand_free}}},
        {"usb_host", block_.usb_host},
        {"usb_units", {block_.usb_units[0], block_.usb_units[1]}},
        {"usb_violations", block_.usb_violations},
        {"tv_cable", block_.tv_cable},
        {"lcdparams", block_.lcd_parameters},
        {"display", block_.display},
        {"power_off_requested", block_.power_off_requested},
        {"powered_off", block_.powered_off},
        {"watchdog",
         {{"armed", watchdog.armed},
          {"seconds_left", watchdog.armed ? left_ns / 1'000'000'000 : 0},
          {"resets", watchdog.resets}}},
        {"rtc", FormatTime(static_cast<std::time_t>(wall_clock + block_.rtc_offset_s))},
        {"program",
         {{"running", program.running},
          {"starts", program.starts},
          {"exit_status", program.exit_status ? json(*program.exit_status) : json(nullptr)}}},
        {"commands", Commands(block_.commands)},
    };
}

std::optional<std::string> BoardState::Change(const json& changes) {
    Changes checked(block_, folder_, clock_);
    try {
        checked.Check(changes);
    } catch (const std::invalid_argument& refused) {
        return refused.what();
    }
    checked.Make();
    folder_.Sync();
    return std::nullopt;
}

}  // namespace board
