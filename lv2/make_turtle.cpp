#include "lv2/plugin_table.h"
#include "lv2/presets.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

// Writes what hosts read of the plug-ins before they load any, out of the tables that the code goes
// by: make_turtle FOLDER

namespace tonvale::lv2 {
namespace {

constexpr const char *prefixes = R"(@prefix atom: <http://lv2plug.in/ns/ext/atom#> .
@prefix bufsz: <http://lv2plug.in/ns/ext/buf-size#> .
@prefix doap: <http://usefulinc.com/ns/doap#> .
@prefix foaf: <http://xmlns.com/foaf/0.1/> .
@prefix log: <http://lv2plug.in/ns/ext/log#> .
@prefix lv2: <http://lv2plug.in/ns/lv2core#> .
@prefix opts: <http://lv2plug.in/ns/ext/options#> .
@prefix patch: <http://lv2plug.in/ns/ext/patch#> .
@prefix pg: <http://lv2plug.in/ns/ext/port-groups#> .
@prefix pprop: <http://lv2plug.in/ns/ext/port-props#> .
@prefix pset: <http://lv2plug.in/ns/ext/presets#> .
@prefix rdf: <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .
@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .
@prefix rsz: <http://lv2plug.in/ns/ext/resize-port#> .
@prefix state: <http://lv2plug.in/ns/ext/state#> .
@prefix units: <http://lv2plug.in/ns/extensions/units#> .
@prefix urid: <http://lv2plug.in/ns/ext/urid#> .
@prefix work: <http://lv2plug.in/ns/ext/worker#> .

)";

constexpr double highestRate = 192000;

std::string quoted(const std::string &text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            out += '\\';
        if (c == '\n')
            out += "\\n";
        else
            out += c;
    }
    return out + '"';
}

std::string number(double value) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << std::fixed;
    out.precision(value == static_cast<int>(value) ? 1 : 2);
    out << value;
    return out.str();
}

std::string reference(const std::string &name) {
    return "<" + uriOf(name) + ">";
}

std::string groupName(const PluginKind &kind, const char *direction) {
    return std::string(kind.id) + "-" + direction;
}

std::string listed(const std::vector<std::string> &names) {
    std::string list;
    for (const std::string &name : names)
        list += (list.empty() ? " " : " , ") + reference(name);
    return list;
}

void writePresetHead(std::ostream &out, const Preset &preset) {
    std::vector<std::string> kinds;
    for (const PluginKind &kind : pluginKinds())
        kinds.push_back(kind.id);
    out << reference(std::string("preset-") + preset.id)
        << "\n    a pset:Preset ;\n    lv2:appliesTo" << listed(kinds) << " ;\n    rdfs:label "
        << quoted(preset.name);
}

void writeManifest(std::ostream &out) {
    out << prefixes;
    for (const PluginKind &kind : pluginKinds()) {
        out << reference(kind.id) << "\n    a lv2:Plugin ;\n    lv2:binary <tonvale.so> ;\n"
            << "    rdfs:seeAlso <tonvale.ttl> .\n\n";
    }
    for (const Preset &preset : presets()) {
        writePresetHead(out, preset);
        out << " ;\n    rdfs:seeAlso <presets.ttl> .\n\n";
    }
}

void writePresets(std::ostream &out) {
    out << prefixes;
    for (const Preset &preset : presets()) {
        writePresetHead(out, preset);
        out << " ;\n    rdfs:comment " << quoted(preset.comment)
            << " ;\n    lv2:port [ lv2:symbol \"wet\" ; pset:value " << number(preset.wet)
            << " ] , [ lv2:symbol \"dry\" ; pset:value " << number(preset.dry)
            << " ] ;\n    state:state [ " << reference("chain") << " " << quoted(preset.chain)
            << " ] .\n\n";
    }
}

void writeProperties(std::ostream &out) {
    constexpr const char *ranges[] = {"atom:Path", "atom:String", "atom:Float"};
    for (const PropertyRow &row : propertyRows()) {
        out << reference(row.name) << "\n    a lv2:Parameter ;\n    rdfs:label "
            << quoted(row.label) << " ;\n    rdfs:comment " << quoted(row.comment)
            << " ;\n    rdfs:range " << ranges[static_cast<size_t>(row.type)];
        if (*row.more)
            out << " ;\n    " << row.more;
        out << " .\n\n";
    }
}

void writeGroup(std::ostream &out, const PluginKind &kind, const char *direction,
                const ChannelGroup &group, const char *mainGroup, const char *label) {
    const bool isInput = std::string(direction) == "in";
    out << reference(groupName(kind, direction)) << "\n    a pg:" << group.type
        << " , pg:" << (isInput ? "InputGroup" : "OutputGroup") << " ;\n    lv2:symbol \""
        << mainGroup << "\" ;\n    rdfs:label \"" << label << "\" ;\n    pg:element";
    for (size_t i = 0; i < group.channels.size(); ++i) {
        out << (i ? " , " : " ") << "[\n        lv2:index " << group.channels[i].element
            << " ;\n        lv2:designation " << group.channels[i].designation << "\n    ]";
    }
    if (!isInput)
        out << " ;\n    pg:source " << reference(groupName(kind, "in"));
    out << " .\n\n";
}

void writeAtomPort(std::ostream &out, const char *type, PortIndex index, const char *symbol,
                   const char *name) {
    out << "[\n        a " << type << " , atom:AtomPort ;\n        lv2:index " << index
        << " ;\n        lv2:symbol \"" << symbol << "\" ;\n        lv2:name \"" << name
        << "\" ;\n        atom:bufferType atom:Sequence ;\n        atom:supports patch:Message ;\n"
        << "        lv2:designation lv2:control ;\n        rsz:minimumSize 65536\n    ]";
}

void writePorts(std::ostream &out, const PluginKind &kind) {
    out << "    lv2:port ";
    writeAtomPort(out, "lv2:InputPort", portControl, "control", "Control");
    out << " , ";
    writeAtomPort(out, "lv2:OutputPort", portNotify, "notify", "Notify");
    out << " , [\n        a lv2:OutputPort , lv2:ControlPort ;\n        lv2:index " << portLatency
        << " ;\n        lv2:symbol \"latency\" ;\n        lv2:name \"Latency\" ;\n"
        << "        lv2:minimum 0 ;\n        lv2:maximum " << mostLatency(highestRate)
        << " ;\n        lv2:designation lv2:latency ;\n"
        << "        lv2:portProperty lv2:reportsLatency , lv2:integer ;\n"
        << "        units:unit units:frame\n    ]";
    for (const ControlRow &row : controlRows()) {
        out << " , [\n        a lv2:InputPort , lv2:ControlPort ;\n        lv2:index " << row.port
            << " ;\n        lv2:symbol \"" << row.symbol << "\" ;\n        lv2:name \"" << row.name
            << "\" ;\n        lv2:default " << number(row.initial) << " ;\n        lv2:minimum "
            << number(row.low) << " ;\n        lv2:maximum " << number(row.high) << " ;\n        "
            << row.more << "\n    ]";
    }
    uint32_t index = firstAudioPort;
    const auto audio = [&](const ChannelGroup &group, const char *direction, const char *type,
                           const char *label) {
        for (const ChannelRow &channel : group.channels) {
            out << " , [\n        a lv2:" << type << " , lv2:AudioPort ;\n        lv2:index "
                << index++ << " ;\n        lv2:symbol \"" << symbolOf(direction, channel)
                << "\" ;\n        lv2:name \"" << label << (*channel.label ? " " : "")
                << channel.label << "\" ;\n        lv2:designation " << channel.designation
                << " ;\n        pg:group " << reference(groupName(kind, direction)) << "\n    ]";
        }
    };
    audio(kind.inputs, "in", "InputPort", "In");
    audio(kind.outputs, "out", "OutputPort", "Out");
    out << " .\n\n";
}

void writePlugin(std::ostream &out, const PluginKind &kind) {
    writeGroup(out, kind, "in", kind.inputs, "in", "Input");
    writeGroup(out, kind, "out", kind.outputs, "out", "Output");
    out << reference(kind.id) << R"(
    a lv2:Plugin , lv2:ReverbPlugin , doap:Project ;
    doap:name "Tonvale )"
        << kind.name << R"(" ;
    rdfs:comment )"
        << quoted(kind.comment) << R"( ;
    doap:license <http://opensource.org/licenses/MIT> ;
    doap:maintainer [
        a foaf:Person ;
        foaf:name "Keldry"
    ] ;
    lv2:minorVersion )"
        << 2 << " ;\n    lv2:microVersion " << 0 << R"( ;
    lv2:requiredFeature urid:map ;
    lv2:optionalFeature work:schedule , lv2:hardRTCapable , opts:options ,
        bufsz:boundedBlockLength , bufsz:coarseBlockLength , state:threadSafeRestore ,
        state:mapPath , state:freePath , state:makePath , log:log ;
    opts:supportedOption bufsz:maxBlockLength ;
    lv2:extensionData state:interface , work:interface ;
    pg:mainInput )"
        << reference(groupName(kind, "in")) << " ;\n    pg:mainOutput "
        << reference(groupName(kind, "out")) << " ;\n";
    for (const bool writable : {true, false}) {
        std::vector<std::string> names;
        for (const PropertyRow &row : propertyRows())
            if (row.isWritable == writable)
                names.push_back(row.name);
        out << "    patch:" << (writable ? "writable" : "readable") << listed(names) << " ;\n";
    }
    writePorts(out, kind);
}

void writeFile(const std::filesystem::path &path, void (*write)(std::ostream &)) {
    std::ofstream out(path);
    out.imbue(std::locale::classic());
    write(out);
    if (!out.flush())
        throw std::filesystem::filesystem_error("can't be written", path, {});
}

} // namespace
} // namespace tonvale::lv2

int main(int count, char **words) {
    using namespace tonvale::lv2;
    if (count != 2) {
        std::cerr << "usage: make_turtle FOLDER\n";
        return 2;
    }
    try {
        const std::filesystem::path folder = words[1];
        writeFile(folder / "manifest.ttl", writeManifest);
        writeFile(folder / "presets.ttl", writePresets);
        writeFile(folder / "tonvale.ttl", [](std::ostream &out) {
            out << prefixes;
            writeProperties(out);
            for (const PluginKind &kind : pluginKinds())
                writePlugin(out, kind);
        });
    } catch (const std::exception &problem) {
        std::cerr << problem.what() << '\n';
        return 1;
    }
    return 0;
}
