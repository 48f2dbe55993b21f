#include "ostrel/Application.h"

#include <gtest/gtest.h>

#include "tests/support/Printing.h"

using ostrel::Application;

TEST(Application, IsFoundWhileItLivesAndKnowsItsName)
{
    EXPECT_EQ(Application::Get(), nullptr);
    {
        const Application application("Ordwick");
        EXPECT_EQ(Application::Get(), &application);
        EXPECT_EQ(Application::Get()->Name(), "Ordwick");
    }
    EXPECT_EQ(Application::Get(), nullptr);
}
