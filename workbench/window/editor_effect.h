#pragma once

#include "host/aeffect.h"

#include <string>
#include <vector>
#include <windows.h>

namespace tonvale::workbench {

/// An instance of the plug-in whose module, tonvale.dll, lies beside this program; as any host
/// holds it. On the thread of the user interface.
class EditorEffect {
  public:
    /// Throws Problem.
    EditorEffect();
    ~EditorEffect();
    EditorEffect(const EditorEffect &) = delete;
    EditorEffect &operator=(const EditorEffect &) = delete;

    /// Adds a stage behind the last one, by its one-line form. Throws Problem.
    void addStage(const std::string &line);
    /// Once all stages are there.
    void finishStages();
    /// Takes a state that a file holds. Throws Problem.
    void loadState(const std::string &file);

    /// Throws Problem.
    void openEditor(HWND window);
    void closeEditor();
    void answerIdleRequest();

  private:
    intptr_t call(int32_t opcode, int32_t index = 0, intptr_t value = 0, void *ptr = nullptr,
                  float opt = 0.0f);

    AEffect *effect;
    int stageCount = 0;
};

} // namespace tonvale::workbench
