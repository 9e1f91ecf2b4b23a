#include "package_builder/convex_hull.h"

#include <libqhull_r/qhull_ra.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace oxel::tools {

namespace {

/// A run of qhull, which is freed with the object.
class Qhull {
  public:
    explicit Qhull(const std::vector<Vector3> &points) {
        for (const Vector3 &point : points)
            coordinates_.insert(coordinates_.end(), point.begin(), point.end());
        char triangulated[] = "qhull Qt";
        qh_zero(&run_, stderr);
        if (qh_new_qhull(&run_, 3, int(points.size()), coordinates_.data(), False, triangulated,
                         nullptr, stderr) != 0) {
            free();
            throw std::runtime_error("the convex hull of the colours cannot be found");
        }
    }
    Qhull(const Qhull &) = delete;
    Qhull &operator=(const Qhull &) = delete;
    ~Qhull() { free(); }

    /// Calls `f` with the points of each triangle.
    template <class F>
    void for_each_triangle(F f) {
        for (const facetT *facet = run_.facet_list; facet && facet->next; facet = facet->next) {
            HullTriangle triangle{};
            for (std::size_t corner = 0; corner < triangle.size(); ++corner) {
                const auto *vertex = static_cast<const vertexT *>(facet->vertices->e[corner].p);
                triangle[corner] = std::size_t(qh_pointid(&run_, vertex->point));
            }
            f(triangle);
        }
    }

  private:
    void free() {
        qh_freeqhull(&run_, !qh_ALL);
        int blocks = 0;
        int bytes = 0;
        qh_memfreeshort(&run_, &blocks, &bytes);
    }

    std::vector<double> coordinates_;
    qhT run_;
};

} // namespace

std::vector<HullTriangle> hull_triangles(const std::vector<Vector3> &points) {
    std::vector<HullTriangle> triangles;
    Qhull(points).for_each_triangle([&](HullTriangle triangle) {
        std::sort(triangle.begin(), triangle.end());
        triangles.push_back(triangle);
    });
    std::sort(triangles.begin(), triangles.end());
    return triangles;
}

} // namespace oxel::tools
