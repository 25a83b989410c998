#ifndef VELTRANE_SETTINGS_TABLE_RULES_H
#define VELTRANE_SETTINGS_TABLE_RULES_H

#include <algorithm>
#include <string_view>
#include <utility>

#include "settings/parameters.h"

namespace veltrane {

/// What must hold for the parameter table, so that it is checked when it is compiled.
using Rows = std::span<const Parameter>;

/// Whether no two elements have the same value of what get returns.
template <typename Elements, typename Get>
constexpr bool AllDiffer(const Elements& elements, Get get) {
    for (auto first = elements.begin(); first != elements.end(); ++first)
        for (auto second = first + 1; second != elements.end(); ++second)
            if (get(*first) == get(*second)) return false;
    return true;
}

constexpr bool IdsAreUnique(Rows rows) {
    return AllDiffer(rows, [](const Parameter& row) { return row.id; }) &&
           std::ranges::all_of(rows, [](const Parameter& row) { return row.id > 0; });
}

/// Whether some of the rows has this id and kind and is shown wherever the other row is.
constexpr bool Hold(Rows rows, int id, ParameterKind kind, const Parameter& other) {
    return std::ranges::any_of(rows, [&](const Parameter& row) {
        return row.id == id && row.kind == kind && row.hosts.Covers(other.hosts);
    });
}

constexpr bool GroupsPrecedeTheirRows(Rows rows) {
    for (std::size_t i = 0; i < rows.size(); ++i)
        if (rows[i].group != 0 &&
            !Hold(rows.first(i), rows[i].group, ParameterKind::Group, rows[i]))
            return false;
    return true;
}

constexpr bool GovernorsAreSwitches(Rows rows) {
    return std::ranges::all_of(rows, [&](const Parameter& row) {
        return row.governor == 0 || Hold(rows, row.governor, ParameterKind::Switch, row);
    });
}

/// Groups have no name, but a label.
constexpr bool NamesAreUnique(Rows rows) {
    const auto word = [](const Parameter& row) {
        return std::string_view(row.kind == ParameterKind::Group ? row.key : row.name);
    };
    return AllDiffer(rows, word) &&
           AllDiffer(rows, [](const Parameter& row) { return std::string_view(row.key); }) &&
           std::ranges::all_of(rows, [&](const Parameter& row) {
               const bool named = !std::string_view(row.name).empty();
               return named == (row.kind != ParameterKind::Group);
           });
}

constexpr bool TellsOfFrames(const Parameter& row) {
    return row.kind != ParameterKind::Group && !IsSetting(row);
}

/// The rows before the first one that tells of a host's frames.
constexpr Rows SettingsOf(Rows rows) {
    const auto end = std::ranges::find_if(rows, TellsOfFrames);
    return rows.first(static_cast<std::size_t>(end - rows.begin()));
}

/// Whether the rows after them do so, too, by choices of OpenFX, which can show them alone.
constexpr bool RestTellsOfFrames(Rows rows) {
    return std::ranges::all_of(rows.subspan(SettingsOf(rows).size()), [](const Parameter& row) {
        return TellsOfFrames(row) && row.kind == ParameterKind::Choice &&
               HostSet{Host::OpenFx}.Covers(row.hosts) && row.defaultValue == row.minimum;
    });
}

constexpr bool FitsItsMember(const Parameter& row) {
    const bool fits =
        row.kind == ParameterKind::Group     ? std::holds_alternative<std::monostate>(row.member)
        : row.kind == ParameterKind::Color   ? std::holds_alternative<Color Settings::*>(row.member)
        : row.kind == ParameterKind::Switch  ? std::holds_alternative<bool Settings::*>(row.member)
        : row.kind == ParameterKind::Integer ? std::holds_alternative<int Settings::*>(row.member)
                                             : row.member.index() != 0;
    return fits && row.minimum <= row.defaultValue && row.defaultValue <= row.maximum;
}

/// Also that no two rows set the same value.
constexpr bool ValuesFitTheirMembers(Rows rows) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (!FitsItsMember(rows[i])) return false;
        for (const Parameter& other : rows.first(i))
            if (other.kind != ParameterKind::Group && other.member == rows[i].member) return false;
    }
    return true;
}

/// Entries stand at their numbers. Panels that save a place in their list show the first ones, so
/// that the place is the number.
constexpr bool KeepTheirNumbers(std::span<const ChoiceEntry> entries) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const ChoiceEntry& entry = entries[i];
        if (entry.number != static_cast<int>(i) || entry.share < 0 || entry.share > 1) return false;
        for (const Host host : {Host::FxPlug, Host::OpenFx})
            if (i > 0 && entry.hosts.Contains(host) && !entries[i - 1].hosts.Contains(host))
                return false;
    }
    return AllDiffer(entries, [](const ChoiceEntry& entry) { return entry.share; }) &&
           AllDiffer(entries, [](const ChoiceEntry& e) { return std::string_view(e.name); });
}

constexpr bool EntriesKeepTheirNumbers(Rows rows) {
    return std::ranges::all_of(rows, [](const Parameter& row) {
        if (row.kind != ParameterKind::Choice) return row.entries.empty();
        return static_cast<int>(row.entries.size()) == row.maximum + 1 &&
               KeepTheirNumbers(row.entries) &&
               row.entries[static_cast<std::size_t>(row.defaultValue)].hosts.Covers(row.hosts);
    });
}

/// FxPlug's panel never changes: ids 1 to 27, and no other.
constexpr bool FxPlugShowsItsPanel(Rows rows) {
    constexpr int kLast = 27;
    int shown = 0;
    for (const Parameter& row : rows) {
        if (row.hosts.Contains(Host::FxPlug) != (row.id <= kLast)) return false;
        if (row.id <= kLast) ++shown;
    }
    return shown == kLast;
}

}  // namespace veltrane

#endif
