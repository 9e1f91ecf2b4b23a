#ifndef OXEL_BENCH_JOBS_H
#define OXEL_BENCH_JOBS_H

#include "inputs.h"

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// What is timed: work on a buffer that holds a picture.
struct Job {
    std::string name;
    std::function<void(Bytes &)> library;
    std::function<void(Bytes &)> yardstick; // with the same result; empty where there is none
    std::string beside;                     // another job, to compare the library's times
};

/// All jobs on a picture. Both arguments are kept by reference.
std::vector<Job> jobs_of(const PackageFile &package, const Scene &scene);

} // namespace bench

#endif
