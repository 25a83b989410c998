// Writes what video editors need to show the plug-in as an effect of theirs, from the parameter
// table: an effect description for Kdenlive and a filter folder for Shotcut. Run by the build.

#include <charconv>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "hosts/frei0r/host_parameters.h"

namespace veltrane::frei0r {
namespace {

constexpr char kService[] = "frei0r.veltrane_green";
constexpr char kTitle[] = "Veltrane Green";
constexpr char kDescription[] =
    "Removes a green or blue screen. Choose the key colour first: with black, frames pass unkeyed.";

/// The shortest text that reads back as the same value: editors multiply it by a slider's length
/// and cut off what stands behind the point.
std::string Text(double value) {
    char text[32];
    return {text, std::to_chars(std::begin(text), std::end(text), value).ptr};
}

std::string Escaped(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '&') escaped += "&amp;";
        if (c == '<') escaped += "&lt;";
        if (c != '&' && c != '<') escaped += c;
    }
    return escaped;
}

double DefaultShare(const Parameter& row) {
    double share = 0;
    Load(Settings(), row, &share);
    return share;
}

/// Calls take with every entry that the interface shows.
template <class Take>
void ForEachEntry(const Parameter& row, Take take) {
    for (const ChoiceEntry& entry : row.entries)
        if (entry.hosts.Contains(Host::Frei0r)) take(entry);
}

/// What Kdenlive shows beside a number, which it can stretch but not shift.
std::string KdenliveLabel(const Parameter& row) {
    std::ostringstream label;
    label << Escaped(LabelOf(row));
    const bool shifted = row.kind == ParameterKind::Integer && row.minimum != 0;
    if (shifted) label << " (0 stands for " << row.minimum << ')';
    return label.str();
}

void WriteKdenliveParameter(std::ostream& xml, const HostParameter& shown) {
    const Parameter& row = *shown.row;
    xml << "    <parameter name=\"" << shown.name << "\" ";
    if (row.kind == ParameterKind::Color) {
        xml << "type=\"color\" default=\"0x000000ff\">\n";
    } else if (row.kind == ParameterKind::Switch) {
        xml << "type=\"bool\" default=\"" << row.defaultValue << "\" min=\"0\" max=\"1\">\n";
    } else if (row.kind == ParameterKind::Choice) {
        std::string shares, labels;
        ForEachEntry(row, [&](const ChoiceEntry& entry) {
            shares.append(shares.empty() ? "" : ";").append(Text(entry.share));
            labels.append(labels.empty() ? "" : ",").append(Label(entry.key));
        });
        xml << "type=\"list\" default=\"" << Text(DefaultShare(row)) << "\" paramlist=\"" << shares
            << "\">\n        <paramlistdisplay>" << labels << "</paramlistdisplay>\n";
    } else {
        const int steps = row.maximum - row.minimum;
        xml << "type=\"animated\" default=\"" << Text(DefaultShare(row)) << "\" min=\"0\" max=\""
            << steps << "\" factor=\"" << steps << "\" decimals=\"0\">\n";
    }
    xml << "        <name>" << KdenliveLabel(row) << "</name>\n        <comment>"
        << Escaped(row.help) << "</comment>\n    </parameter>\n";
}

std::string KdenliveEffect() {
    std::ostringstream xml;
    xml << "<?xml version=\"1.0\"?>\n<!DOCTYPE kpartgui>\n<effect LC_NUMERIC=\"C\" tag=\""
        << kService << "\" id=\"" << kService << "\" type=\"video\">\n    <name>" << kTitle
        << "</name>\n    <description>" << kDescription
        << "</description>\n    <author>Veltrane</author>\n";
    for (const HostParameter& shown : HostParameters()) WriteKdenliveParameter(xml, shown);
    xml << "</effect>\n";
    return xml.str();
}

/// The rows as the list that Shotcut's panel is made of.
std::string ShotcutRows() {
    std::ostringstream js;
    js << ".pragma library\n\nvar rows = [\n";
    for (const HostParameter& shown : HostParameters()) {
        const Parameter& row = *shown.row;
        js << "    {name: '" << shown.name << "', label: '" << LabelOf(row) << "', ";
        if (row.kind == ParameterKind::Color) {
            js << "kind: 'colour', start: '#ff000000'";
        } else if (row.kind == ParameterKind::Switch) {
            js << "kind: 'switch', start: " << row.defaultValue;
        } else if (row.kind == ParameterKind::Choice) {
            js << "kind: 'choice', start: " << Text(DefaultShare(row)) << ", shares: [";
            ForEachEntry(row, [&](const ChoiceEntry& entry) { js << Text(entry.share) << ", "; });
            js << "], labels: [";
            ForEachEntry(row, [&](const ChoiceEntry& e) { js << '\'' << Label(e.key) << "', "; });
            js << ']';
        } else {
            js << "kind: 'number', start: " << Text(DefaultShare(row)) << ", low: " << row.minimum
               << ", high: " << row.maximum;
        }
        js << "},\n";
    }
    js << "];\n";
    return js.str();
}

void Write(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path);
    file << text;
    file.close();
    if (!file) throw std::runtime_error(path.string() + ": cannot be written");
}

}  // namespace
}  // namespace veltrane::frei0r

int main(int count, char** arguments) {
    using namespace veltrane::frei0r;
    if (count != 2) return 2;
    try {
        const std::filesystem::path folder = arguments[1];
        Write(folder / "kdenlive/effects/frei0r_veltrane_green.xml", KdenliveEffect());
        Write(folder / "shotcut/qml/filters/veltrane_green/rows.js", ShotcutRows());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
