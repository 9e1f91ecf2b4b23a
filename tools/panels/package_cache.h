#ifndef OXEL_TOOLS_PACKAGE_CACHE_H
#define OXEL_TOOLS_PACKAGE_CACHE_H

#include "base/files.h"
#include "package_builder/package_builder.h"

namespace oxel::tools {

/// The package of a panel, from the user's cache if it is there, else built and put there.
///
/// An entry is a file in $XDG_CACHE_HOME/oxel, else ~/.cache/oxel, whose name is a hash of the
/// colours, the options and the builder's own sources. It appears whole or not at all, whatever
/// other processes do meanwhile; one that is damaged or another panel's is built anew. A cache that
/// cannot be read or written costs the time of a build and nothing else. May be deleted at any
/// time.
Bytes cached_package(const std::vector<PanelColour> &colours, const BuildOptions &options);

} // namespace oxel::tools

#endif
