#ifndef OXEL_TOOLS_MOVED_STEPS_H
#define OXEL_TOOLS_MOVED_STEPS_H

#include <cstdint>
#include <string>

namespace oxel::tools {

/// How many pictures each device was moved on by its users, beyond what its schedule says: a file a
/// device, which the services of a machine share.
class MovedSteps {
  public:
    /// Makes the folder. Throws Failure.
    explicit MovedSteps(std::string folder);

    std::int64_t of(const std::string &device) const;

    /// One more. Throws Failure.
    void move_on(const std::string &device) const;

  private:
    std::string path(const std::string &device) const;

    const std::string folder_;
};

} // namespace oxel::tools

#endif
