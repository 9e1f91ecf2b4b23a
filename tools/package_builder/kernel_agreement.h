#ifndef OXEL_TOOLS_KERNEL_AGREEMENT_H
#define OXEL_TOOLS_KERNEL_AGREEMENT_H

#include "package_builder/quantisation.h"

#include <functional>
#include <vector>

namespace oxel::tools {

/// Sites for a quantisation at which all diffusions show a flat colour much alike, so that one
/// gamut table can serve them all; at hardly more grain than the colours' own sites.
///
/// Diffusions differ by what their roundings lose. Floyd and Steinberg's loses as much of any
/// error; the wide kernels draw all errors toward 0, so that light tones become lighter and dark
/// ones darker, by up to 6 bytes. Which errors arise is up to the quantisation. The sites are found
/// by random optimisation (Matyas, 1965): one is moved at a time, by less and less, and stays where
/// simulated patches agree better.
///
/// `progress` is called with a share of the work from 0 to 1. Palettes of more than 16 colours keep
/// their own sites, and those of less than three dimensions, too.
std::vector<Vector3> agreeing_sites(const Characterisation &panel, const Quantiser &quantiser,
                                    const std::function<void(double)> &progress);

} // namespace oxel::tools

#endif
