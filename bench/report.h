#pragma once

#include "bench/measure.h"

#include <fstream>
#include <string>

namespace tonvale::bench {

/// A page of tables, and a file of numbers beside it for each curve.
class Report {
  public:
    /// Writes the page to `pagePath` and numbers into `dataFolder`.
    Report(const std::string &pagePath, const std::string &dataFolder);

    void text(const std::string &paragraph);
    void picture(const std::string &title, const std::string &file);

    /// A table of costs with a row for each case: seconds of processor for each second of audio,
    /// and what Tonvale, the first peer, takes of each other one. Its numbers go into `name`.tsv,
    /// the first column `key`.
    void beginCosts(const std::string &name, const std::string &key,
                    const std::vector<Peer> &peers);
    void costs(const std::string &label, double key, const std::vector<Figures> &figures);

    void beginTable(const std::vector<std::string> &heads);
    void row(const std::vector<std::string> &cells);

    std::ofstream data(const std::string &name);

  private:
    std::ofstream page;
    std::ofstream curve;
    std::string folder;
};

/// With as many digits as mean something.
std::string number(double value, int digits);

} // namespace tonvale::bench
