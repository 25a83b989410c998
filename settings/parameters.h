#ifndef VELTRANE_SETTINGS_PARAMETERS_H
#define VELTRANE_SETTINGS_PARAMETERS_H

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "keyer/settings.h"

namespace veltrane {

enum class ParameterKind { Group, Choice, Color, Switch, Integer };

/// A parameter's identity. Saved projects hold the numbers, so that none is ever changed or given
/// to another parameter; where a row stands in the table is free. 1 to 27 are FxPlug's panel.
enum class ParameterId {
    Basic = 1,
    View = 2,
    KeyColor = 3,
    SmoothBG = 4,
    Shadow = 5,
    ClipBlack = 6,
    ClipWhite = 7,
    DeBlockingGroup = 8,
    DeBlocking = 9,
    DeBlockValue = 10,
    EdgeContractGroup = 11,
    EdgeContract = 12,
    ContractMask = 13,
    ContractThreshold = 14,
    EdgeBlurGroup = 15,
    EdgeBlur = 16,
    MaskBlurRadius = 17,
    MaskBlurValue = 18,
    HueGroup = 19,
    SkinHue = 20,
    BlueHue = 21,
    Advanced = 22,
    DespillGroup = 23,
    DespillGray = 24,
    DespillSkin = 25,
    DespillBlue = 26,
    ScreenGain = 27,
    Screen = 28,
    Light = 29,
    MatteGroup = 30,
    CoreColor = 31,
    PlateMatch = 32,
    MatteLight = 40,
};

/// The interfaces of the plug-ins.
enum class Host { FxPlug, Frei0r, OpenFx };

class HostSet {
public:
    constexpr HostSet(std::initializer_list<Host> hosts) {
        for (const Host host : hosts) bits_ |= 1u << static_cast<unsigned>(host);
    }

    constexpr bool Contains(Host host) const {
        return (bits_ >> static_cast<unsigned>(host) & 1u) != 0;
    }
    constexpr bool Covers(HostSet others) const { return (others.bits_ & ~bits_) == 0; }

private:
    unsigned bits_ = 0;
};

inline constexpr HostSet kEveryHost{Host::FxPlug, Host::Frei0r, Host::OpenFx};

/// The host's flag for a parameter that starts greyed out.
inline constexpr unsigned kDisabledFlag = 4;

/// One entry of a choice.
struct ChoiceEntry {
    int number;        ///< the value in Settings and in FxPlug's and OpenFX's saved projects
    const char* key;   ///< localisation key, "VeltraneGreen::..."
    const char* name;  ///< name in options and presets
    double share;      ///< the value in frei0r's saved projects, 0..1
    HostSet hosts = kEveryHost;
    /// frei0r's projects may hold any number, which means the entry nearest to it; an entry that
    /// came later is meant by its own share alone.
    bool isLater = false;
};

/// Where Settings holds a row's value: nowhere for a group, nor for what tells of a host's frames.
using Member =
    std::variant<std::monostate, View Settings::*, Screen Settings::*, CoreColor Settings::*,
                 MatteLight Settings::*, Color Settings::*, bool Settings::*, int Settings::*>;

/// One row of the parameter table.
struct Parameter {
    int id;
    ParameterKind kind;
    const char* key;   ///< localisation key, "VeltraneGreen::..."
    const char* name;  ///< name in options and presets, in kebab case; empty for a group
    const char* help;  ///< one sentence in a compositor's words
    Member member;
    int defaultValue;  ///< a choice's number, a switch's 0 or 1, every channel of a colour
    int minimum;
    int maximum;
    int group;         ///< id of the group that holds it, 0 at the top
    HostSet hosts;     ///< the hosts that show it; the command and presets know every setting
    int governor = 0;  ///< id of the switch that enables it, 0 when none does
    unsigned flags = 0;
    bool inPixels = false;  ///< a length in pixels of the frame, to be scaled with a proxy
    std::span<const ChoiceEntry> entries{};  ///< of a choice, each at its number
};

/// No table has more rows; for lists that must not allocate.
inline constexpr std::size_t kMostParameters = 64;

/// Every setting and group, groups before what they hold, in the order in which our own panels,
/// options and presets show them.
std::span<const Parameter> Parameters();

/// The rows that a host shows, in its order: FxPlug's and frei0r's by ascending id, since projects
/// or command lines name them by place, and OpenFX's in that of the table, in which what tells of
/// its frames comes last.
std::span<const Parameter* const> Panel(Host host);

/// The row with this id; throws std::out_of_range when there is none.
const Parameter& ParameterOf(ParameterId id);

/// The group that holds a row and the switch that enables it, or null.
const Parameter* GroupOf(const Parameter& parameter);
const Parameter* GovernorOf(const Parameter& parameter);

/// The setting with this option name, or null.
const Parameter* FindParameter(std::string_view name);

/// The names of a choice's entries in options and presets, in the order of their values.
std::vector<std::string> ChoiceNames(const Parameter& parameter);

/// What is wrong with a value of this row, such as "shadow must be 0 to 100, not 140"; empty when
/// it is in range.
std::string ProblemWith(const Parameter& parameter, long long value);

/// The English text of a localisation key: what follows its two colons.
std::string_view Label(std::string_view key);

/// Whether the row is one of Settings; a group is none, nor what tells of a host's frames.
constexpr bool IsSetting(const Parameter& parameter) {
    return !std::holds_alternative<std::monostate>(parameter.member);
}

/// What our own panels call a row. The keys are FxPlug's, where groups say what they are about.
std::string_view LabelOf(const Parameter& parameter, Screen screen = Screen::Green);

}  // namespace veltrane

#endif
