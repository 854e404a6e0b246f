#pragma once

#include "chain/control_row.h"
#include "chain/stage_values.h"
#include "chain/status_stage.h"

#include <array>
#include <initializer_list>

namespace tonvale {

/// A stage whose settings are doubles told by a table of rows: it saves and reads them in the
/// table's order, as 32-bit floats or as text with six decimals.
class RowStage : public StatusStage {
  public:
    void loadState(const char *key, const void *data, int32_t size) noexcept override;
    void saveState(HeapBuffer &out) noexcept override;
    void saveText(char *text, int32_t size) noexcept override;
    bool loadText(const char *text) noexcept override;

    const StageRow *getRows() const { return rows; }
    int32_t getRowCount() const { return rowCount; }
    /// The setting of a row; the row must exist.
    Relaxed<double> &setting(int32_t row) { return *settings[static_cast<size_t>(row)]; }

  protected:
    static constexpr size_t maxRows = 7;

    /// `fields` are the settings in row order, one a row of `table`, at most maxRows; loadState
    /// takes no fewer than `fewest` of them.
    RowStage(const StageRow *table, std::initializer_list<Relaxed<double> *> fields,
             int32_t fewest);
    /// Gives every setting its table's default. Called by each stage's own constructor, since the
    /// settings are members of the stage and don't exist yet in this class's.
    void setDefaults();

  private:
    SettingList<double> list() const { return {settings.data(), static_cast<size_t>(rowCount)}; }

    const StageRow *rows;
    std::array<Relaxed<double> *, maxRows> settings{};
    int32_t rowCount;
    int32_t fewestValues;
};

} // namespace tonvale
