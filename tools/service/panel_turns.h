#ifndef OXEL_TOOLS_PANEL_TURNS_H
#define OXEL_TOOLS_PANEL_TURNS_H

#include "panels/panel.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

namespace oxel::tools {

/// The library renders for one panel at a time. Threads that render for the same one do so at once,
/// others wait for their turn, in the order in which they came.
class PanelTurns {
  public:
    /// While it is there, the panel is the adopted one.
    class Turn {
      public:
        /// Throws Failure if the library refuses the panel.
        Turn(PanelTurns &turns, const std::shared_ptr<const Panel> &panel, bool indices);
        Turn(const Turn &) = delete;
        Turn &operator=(const Turn &) = delete;
        ~Turn();

      private:
        PanelTurns &turns_;
    };

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::uint64_t next_ = 0;    // numbers that those who wait draw
    std::uint64_t serving_ = 0; // whose turn it is
    int rendering_ = 0;
    std::shared_ptr<const Panel> adopted_; // whose package the library reads
    bool indices_ = false;                 // whether indices are written for codes
};

} // namespace oxel::tools

#endif
