#include "pictures/picture_threads.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace oxel::tools {

namespace {

std::atomic<int> told = 0;

}

void share_processors(int threads) {
    limit_picture_threads(picture_threads() / threads);
}

void limit_picture_threads(int threads) {
    told = std::max(1, threads);
}

int picture_threads() {
    const int threads = told;
    return threads > 0 ? threads
                       : std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

} // namespace oxel::tools
