#include "bench/report.h"

#include <cstdio>

namespace tonvale::bench {

std::string number(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

Report::Report(const std::string &pagePath, const std::string &dataFolder)
    : page(pagePath)
    , folder(dataFolder) {}

void Report::text(const std::string &paragraph) {
    page << paragraph << "\n\n" << std::flush;
}

void Report::picture(const std::string &title, const std::string &file) {
    page << "![" << title << "](" << file << ")\n\n";
}

std::ofstream Report::data(const std::string &name) {
    return std::ofstream(folder + "/" + name + ".tsv");
}

void Report::beginTable(const std::vector<std::string> &heads) {
    row(heads);
    page << '|';
    for (size_t i = 0; i < heads.size(); ++i)
        page << (i == 0 ? "---|" : "---:|");
    page << '\n';
}

void Report::row(const std::vector<std::string> &cells) {
    page << '|';
    for (const auto &cell : cells)
        page << ' ' << cell << " |";
    page << std::endl;
}

void Report::beginCosts(const std::string &name, const std::string &key,
                        const std::vector<Peer> &peers) {
    page << '\n';
    curve = data(name);
    curve << key;
    std::vector<std::string> heads{key};
    for (const Peer &peer : peers) {
        heads.push_back(peer.name);
        curve << '\t' << peer.name;
    }
    for (size_t i = 1; i < peers.size(); ++i)
        heads.push_back(std::string("of ") + peers[i].name);
    heads.push_back("error, dB");
    curve << std::endl;
    beginTable(heads);
}

void Report::costs(const std::string &label, double key, const std::vector<Figures> &figures) {
    std::vector<std::string> cells{label};
    curve << key;
    for (const Figures &f : figures) {
        cells.push_back(
            f.works ? number(1e3 * f.cost, 2) + " ± " + number(0.5e3 * (f.high - f.low), 2) : "–");
        curve << '\t' << (f.works ? number(f.cost, 6) : "nan");
    }
    curve << std::endl;
    std::string errors;
    for (size_t i = 1; i < figures.size(); ++i)
        cells.push_back(figures[i].works ? number(figures[0].cost / figures[i].cost, 2) : "–");
    for (const Figures &f : figures)
        errors += (errors.empty() ? "" : " / ") + (f.works ? number(f.error, 0) : std::string("–"));
    cells.push_back(errors);
    row(cells);
}

} // namespace tonvale::bench
