#include "service/panel_turns.h"

#include "render/library.h"

namespace oxel::tools {

PanelTurns::Turn::Turn(PanelTurns &turns, const std::shared_ptr<const Panel> &panel, bool indices)
    : turns_(turns) {
    std::unique_lock lock(turns.mutex_);
    const std::uint64_t number = turns.next_++;
    const auto is_adopted = [&] { return turns.adopted_ == panel && turns.indices_ == indices; };
    turns.changed_.wait(
        lock, [&] { return turns.serving_ == number && (is_adopted() || turns.rendering_ == 0); });
    ++turns.serving_;
    turns.changed_.notify_all();
    if (!is_adopted()) {
        adopt_package(panel->source, panel->package); // or the one before stays
        turns.adopted_ = panel;
        turns.indices_ = indices;
        if (indices)
            write_indices_for_codes();
    }
    ++turns.rendering_;
}

PanelTurns::Turn::~Turn() {
    const std::lock_guard lock(turns_.mutex_);
    --turns_.rendering_;
    turns_.changed_.notify_all();
}

} // namespace oxel::tools
