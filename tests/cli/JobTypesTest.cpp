#include <gtest/gtest.h>

#include "corvan/JobFactory.h"
#include "corvan/JobType.h"
#include "corvan/Parameters.h"

namespace cli
{
namespace
{

TEST(JobTypes, ThatShipAreReadWithoutFault)
{
    corvan::JobFactory factory;
    EXPECT_EQ(factory.LoadTypes(ostrel::Path(SHARE_FOLDER "/jobtypes")), 3);
    for (const char *name : {"Command", "POV-Ray", "Blender"})
    {
        const auto type = factory.FindTypeByName(name);
        ASSERT_TRUE(type) << name;
        EXPECT_FALSE(type->renderCommand.empty()) << name;
        EXPECT_FALSE(type->commands.empty()) << name;
        EXPECT_TRUE(type->hasCustomRange) << name;
        EXPECT_EQ(type->FindDefault(corvan::p_PacketSize), ostrel::String("1")) << name;
    }
}

} // namespace
} // namespace cli
