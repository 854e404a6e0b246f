#pragma once

#include "workbench/cli/rendering/render_job.h"

#include <string>
#include <vector>

namespace tonvale::workbench {

/// Where many recordings go.
struct BatchPlan {
    std::vector<std::string> inputs;
    std::string folder;
    SoundFormat format;

    /// The name of an input's output. Throws Problem for an input that gives none.
    std::string outputOf(const std::string &input) const;
};

/// Throws Problem where two inputs would become one output, or one an input of this run.
void checkBatch(const BatchPlan &plan);

/// Renders many recordings; one that fails leaves the others alone.
class Batch {
  public:
    Batch(const BatchPlan &plan, Renderer &renderer, StateFile *state);

    /// Renders them all, as many at a time as `atOnce`, and prints a line for each, on standard
    /// error where it failed.
    void run(int atOnce, const Renderer::Describe &describe);
    double writtenSeconds() const { return written; }
    bool hasFailed() const { return failed; }

  private:
    const BatchPlan &plan;
    Renderer &renderer;
    StateFile *state;
    std::mutex lock; ///< guards the figures, and keeps lines whole
    size_t next = 0;
    double written = 0.0;
    bool failed = false;

    void work(const Renderer::Describe &describe, ProgressBar &bar);
    void renderOne(const std::string &input, const Renderer::Describe &describe, ProgressBar &bar);
};

} // namespace tonvale::workbench
