#ifndef VELTRANE_SETTINGS_PARAMETERS_H
#define VELTRANE_SETTINGS_PARAMETERS_H

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace veltrane {

enum class ParameterKind { Group, Choice, Color, Switch, Integer };

/// The parameter's identity in every host; values are part of saved projects and never change.
enum class ParameterId {
    Basic = 1,
    View,
    KeyColor,
    SmoothBG,
    Shadow,
    ClipBlack,
    ClipWhite,
    DeBlockingGroup,
    DeBlocking,
    DeBlockValue,
    EdgeContractGroup,
    EdgeContract,
    ContractMask,
    ContractThreshold,
    EdgeBlurGroup,
    EdgeBlur,
    MaskBlurRadius,
    MaskBlurValue,
    HueGroup,
    SkinHue,
    BlueHue,
    Advanced,
    DespillGroup,
    DespillGray,
    DespillSkin,
    DespillBlue,
    ScreenGain,
};

/// The host's flag for a parameter that starts greyed out.
inline constexpr unsigned kDisabledFlag = 4;

/// One row of the parameter table, in the order in which a host shows it.
struct Parameter {
    int id;
    ParameterKind kind;
    const char* key;   ///< localisation key, "VeltraneGreen::..."
    const char* name;  ///< name in options and presets, in kebab case; empty for a group
    const char* help;  ///< one sentence in a compositor's words
    int defaultValue;  ///< choice: index; switch: 0 or 1; colour: every channel
    int minimum;
    int maximum;
    unsigned flags;
    int group;     ///< id of the group that holds it, 0 at the top
    int governor;  ///< id of the switch that enables it, 0 when none does
};

/// All 27 rows.
std::span<const Parameter> Parameters();

const Parameter& Row(ParameterId id);

/// The row with this option name, or null.
const Parameter* FindParameter(std::string_view name);

/// Localisation keys of the entries of a choice, in the order of their values; empty for others.
std::span<const char* const> ChoiceKeys(const Parameter& parameter);

/// The names of a choice's entries in options and presets, in the order of their values.
std::vector<std::string> ChoiceNames(const Parameter& parameter);

/// What is wrong with a value of this row, such as "shadow must be 0 to 100, not 140"; empty when
/// it is in range.
std::string ProblemWith(const Parameter& parameter, long long value);

/// The English text of a localisation key: what follows its two colons.
std::string_view Label(std::string_view key);

}  // namespace veltrane

#endif
