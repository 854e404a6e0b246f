#include "workbench/cli/rendering/render_job.h"

namespace tonvale::workbench {

void StateFile::commit() {
    std::call_once(committed, [this] { file.commit(); });
}

std::unique_ptr<SoundWriter> renderJob(Renderer &renderer, RenderJob &job,
                                       const Renderer::Describe &describe, ProgressBar &bar) {
    Rig rig = renderer.prepare(job.recording, describe);
    const SoundShape shape = renderer.shapeOfOutput(job.recording, rig);
    auto writer = std::make_unique<SoundWriter>(job.file, job.format, shape);
    if (shape.frames)
        bar.expect(*shape.frames - *job.recording.frames());
    // What went into a pipe can't be told another length.
    renderer.render(job.recording, rig, *writer, !job.file.isRewritable(), bar);
    if (job.state)
        job.state->commit();
    job.file.commit();
    return writer;
}

} // namespace tonvale::workbench
