#include "support/curve_gallery.h"

#include "support/file_rows.h"
#include "support/split.h"

#include <string>

namespace gallery {

namespace {

plain::Curve ManyKeys() {
    plain::Curve curve;
    for (int i = 0; i < 500; ++i) {
        plain::Key key;
        key.time = i * 0.04;
        key.value = (i * 37) % 101 - 30;
        key.type = i % 27 == 26 ? 1 : i % 27;
        key.left = {0.6, 3.0 - i % 7};
        key.right = {0.3, i % 5 - 2.0};
        curve.push_back(key);
    }
    return curve;
}

std::vector<Exhibit> Hang() {
    std::vector<Exhibit> exhibits;
    for (const support::FileRow& row : support::RowsOf("gallery.txt")) {
        const bool hasHandles = row[""].find("  ") != std::string::npos;
        exhibits.push_back({row.name, CurveOf(row[""]), hasHandles});
    }
    exhibits.push_back({"ManyKeys", ManyKeys(), true});
    return exhibits;
}

}  // namespace

plain::Curve CurveOf(const std::string& lines) {
    plain::Curve curve;
    for (const std::string& line : support::Split(lines, '\n')) {
        std::vector<double> n = support::NumbersOf(line);
        n.resize(7);
        curve.push_back({n[0], n[1], static_cast<int>(n[2]), {n[3], n[4]}, {n[5], n[6]}});
    }
    return curve;
}

const std::vector<Exhibit>& Curves() {
    static const std::vector<Exhibit> curves = Hang();
    return curves;
}

core::Parameter Build(const Exhibit& exhibit) {
    return exhibit.handSet ? plain::Build(exhibit.curve) : plain::BuildAutomatic(exhibit.curve);
}

const std::vector<int>& Types() {
    static const std::vector<int> types = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,
                                           10, 11, 12, 13, 14, 15, 16, 17, 18, 19,
                                           20, 21, 22, 23, 24, 25, 26, 27, -1, 100};
    return types;
}

}  // namespace gallery
