#include "workbench/cli/rendering/batch.h"

#include "workbench/cli/problem.h"
#include "workbench/cli/warnings.h"

#include <filesystem>
#include <map>
#include <new>
#include <thread>

namespace tonvale::workbench {

namespace fs = std::filesystem;

std::string BatchPlan::outputOf(const std::string &input) const {
    const std::string stem = fs::path(input).stem().string();
    if (input == pipeName || stem.empty() || stem == "." || stem == "..")
        throw Problem(input + ": gives no name for a file in " + folder);
    return (fs::path(folder) / (stem + "." + endingOf(format.container))).string();
}

void checkBatch(const BatchPlan &plan) {
    std::map<std::string, const std::string *> taken;
    for (const std::string &input : plan.inputs) {
        const auto [found, isNew] = taken.emplace(plan.outputOf(input), &input);
        if (!isNew)
            throw Problem(*found->second + ", " + input + ": both would become " + found->first);
    }
    for (const auto &[output, input] : taken) {
        std::error_code error;
        if (!fs::exists(output, error))
            continue;
        for (const std::string &other : plan.inputs)
            refuseOverwriting(output, other);
    }
}

Batch::Batch(const BatchPlan &batchPlan, Renderer &batchRenderer, StateFile *stateFile)
    : plan(batchPlan)
    , renderer(batchRenderer)
    , state(stateFile) {}

void Batch::run(int atOnce, const Renderer::Describe &describe) {
    ProgressBar bar;
    for (const std::string &input : plan.inputs) {
        try {
            bar.expect(Recording(input).frames().value_or(0));
        } catch (const Problem &) {
            // Told when its turn comes.
        }
    }
    std::vector<std::thread> threads;
    for (int i = 1; i < atOnce; ++i) {
        try {
            threads.emplace_back([&] { work(describe, bar); });
        } catch (const std::system_error &) {
            break; // those that there are do the work
        }
    }
    work(describe, bar);
    for (std::thread &thread : threads)
        thread.join();
}

void Batch::work(const Renderer::Describe &describe, ProgressBar &bar) {
    while (true) {
        const std::string *input = nullptr;
        {
            const std::scoped_lock held(lock);
            if (next == plan.inputs.size())
                return;
            input = &plan.inputs[next++];
        }
        std::string problem;
        try {
            renderOne(*input, describe, bar);
        } catch (const std::bad_alloc &) {
            problem = "not enough memory";
        } catch (const std::exception &error) {
            problem = error.what();
        }
        if (problem.empty())
            continue;
        if (problem.find(*input) == std::string::npos)
            problem.insert(0, *input + ": ");
        const std::scoped_lock held(lock);
        failed = true;
        bar.clear();
        complain(problem.c_str());
    }
}

void Batch::renderOne(const std::string &input, const Renderer::Describe &describe,
                      ProgressBar &bar) {
    Recording recording(input);
    OutputFile file(plan.outputOf(input));
    RenderJob job{std::move(recording), file, plan.format, state};
    const auto writer = renderJob(renderer, job, describe, bar);
    const std::scoped_lock held(lock);
    written += static_cast<double>(writer->frames()) / job.recording.sampleRate();
    bar.clear();
    writer->report();
}

} // namespace tonvale::workbench
