#include "support/pictures.h"

#include "support/levers.h"

#include "examples/well_formed.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using core::Pointd;
using Interpolation = core::KeyframeInterpolationType;

TEST(Pictures, AreWellFormedAndNameWhatTheyShow) {
    example::KeyframeTable table;
    table.title = "a < b & \"c\"";
    for (const core::ParameterTypeEnum type :
         {core::ParameterDouble, core::ParameterInt, core::ParameterBool, core::ParameterPoint}) {
        table.type = type;
        table.rows.clear();
        for (int i = 0; i < 3; ++i) {
            core::ValAny value = i;
            if (type == core::ParameterPoint) {
                value = Pointd{1.0 * i, 2};
            } else if (type == core::ParameterBool) {
                value = i == 1;
            }
            table.rows.push_back({0.5 * i, value, Interpolation::Hold, {}, {}});
            const std::string svg = example::DrawAnimation(table);
            EXPECT_TRUE(LooksWellFormed(svg)) << svg;
            EXPECT_NE(svg.find("a &lt; b &amp; &quot;c&quot;</text>"), std::string::npos);
        }
    }
    const std::string types = example::DrawInterpolationTypes();
    EXPECT_TRUE(LooksWellFormed(types));
    EXPECT_TRUE(LooksWellFormed(example::DrawInsertedKeyframe()));
    EXPECT_TRUE(LooksWellFormed(example::DrawOvershoot()));
    EXPECT_TRUE(LooksWellFormed(example::DrawReduced()));
    EXPECT_TRUE(LooksWellFormed(example::DrawOutside()));
    for (int type = 16; type <= 26; ++type) {
        EXPECT_NE(types.find(example::InterpolationName(static_cast<Interpolation>(type))),
                  std::string::npos)
            << type;
    }
}

}  // namespace
