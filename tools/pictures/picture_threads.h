#ifndef OXEL_TOOLS_PICTURE_THREADS_H
#define OXEL_TOOLS_PICTURE_THREADS_H

namespace oxel::tools {

/// Shares the processors among so many threads that will load pictures at once.
void share_processors(int threads);

void limit_picture_threads(int threads);

/// The threads that a decoder uses for one picture: as many as there are processors, unless told.
int picture_threads();

} // namespace oxel::tools

#endif
