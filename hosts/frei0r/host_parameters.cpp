#include "hosts/frei0r/host_parameters.h"

extern "C" {
#include <frei0r.h>
}

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <tuple>

namespace veltrane::frei0r {

namespace {

/// Plain characters only: hosts read the descriptions before they start the plug-in and after they
/// stopped it, so nothing here may be allocated or destroyed.
struct HostParameterList {
    std::array<HostParameter, kMostParameters> entries{};
    std::size_t count = 0;
};

int TypeOf(const Parameter& row) {
    if (row.kind == ParameterKind::Switch) return F0R_PARAM_BOOL;
    return row.kind == ParameterKind::Color ? F0R_PARAM_COLOR : F0R_PARAM_DOUBLE;
}

double Share(const Parameter& row, int value) {
    if (row.kind == ParameterKind::Choice) return row.entries[value].share;
    return static_cast<double>(value - row.minimum) / (row.maximum - row.minimum);
}

template <std::size_t size, typename... Values>
void Append(char (&text)[size], const char* format, Values... values) {
    const std::size_t used = std::strlen(text);
    std::snprintf(text + used, size - used, format, values...);
}

/// Adds what the ends of 0..1 stand for, which the host cannot know.
void ExplainScale(HostParameter& shown) {
    const Parameter& row = *shown.row;
    if (row.kind == ParameterKind::Integer)
        Append(shown.explanation, " 0 to 1 stands for %d to %d.", row.minimum, row.maximum);
    const char* separator = " ";
    for (const ChoiceEntry& entry : row.entries) {
        if (!entry.hosts.Contains(Host::Frei0r)) continue;
        const std::string_view label = Label(entry.key);
        Append(shown.explanation, "%s%g is %.*s", separator, entry.share,
               static_cast<int>(label.size()), label.data());
        separator = ", ";
    }
    if (!row.entries.empty()) Append(shown.explanation, "%s", ".");
}

HostParameter Describe(const Parameter& row) {
    HostParameter shown{&row, TypeOf(row), "", ""};
    Append(shown.name, "%s", row.name);
    std::replace(std::begin(shown.name), std::end(shown.name), '-', ' ');
    shown.name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(shown.name[0])));
    Append(shown.explanation, "%s", row.help);
    ExplainScale(shown);
    return shown;
}

HostParameterList DescribeAll() {
    HostParameterList list;
    for (const Parameter* row : Panel(Host::Frei0r))
        if (row->kind != ParameterKind::Group) list.entries[list.count++] = Describe(*row);
    return list;
}

int NearestStep(const Parameter& row, double share) {
    const double steps = std::floor(share * (row.maximum - row.minimum) + 0.5);
    return row.minimum + static_cast<int>(steps);
}

/// The number of the entry whose share is nearest, of two the one with the higher share. Hosts may
/// hand a number on as a float.
int NearestEntry(const Parameter& row, double share) {
    constexpr double kSame = 1e-6;
    const auto rank = [&](const ChoiceEntry& entry) {
        const double distance = std::abs(entry.share - share);
        const bool out = !entry.hosts.Contains(Host::Frei0r) || (entry.isLater && distance > kSame);
        return std::tuple(out, distance, -entry.share);
    };
    return std::ranges::min(row.entries, {}, rank).number;
}

f0r_param_color_t Floats(const Color& color) {
    return {static_cast<float>(color.red), static_cast<float>(color.green),
            static_cast<float>(color.blue)};
}

double Clamped(double value, double otherwise) {
    return std::isnan(value) ? otherwise : std::clamp(value, 0.0, 1.0);
}

}  // namespace

std::span<const HostParameter> HostParameters() noexcept {
    static const HostParameterList list = DescribeAll();
    return {list.entries.data(), list.count};
}

void Store(Settings& settings, const Parameter& row, const void* value) noexcept {
    if (row.kind == ParameterKind::Color) {
        const auto& color = *static_cast<const f0r_param_color_t*>(value);
        SetColor(settings, row,
                 {Clamped(color.r, row.defaultValue), Clamped(color.g, row.defaultValue),
                  Clamped(color.b, row.defaultValue)});
        return;
    }
    const double share = Clamped(*static_cast<const double*>(value), Share(row, row.defaultValue));
    SetValue(
        settings, row,
        row.kind == ParameterKind::Choice ? NearestEntry(row, share) : NearestStep(row, share));
}

void Load(const Settings& settings, const Parameter& row, void* value) noexcept {
    if (row.kind == ParameterKind::Color)
        *static_cast<f0r_param_color_t*>(value) = Floats(ColorOf(settings, row));
    else
        *static_cast<double*>(value) = Share(row, ValueOf(settings, row));
}

}  // namespace veltrane::frei0r
