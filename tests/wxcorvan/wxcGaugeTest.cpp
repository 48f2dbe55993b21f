#include "wxcorvan/wxcGauge.h"

#include <gtk/gtk.h>

#include <gtest/gtest.h>
#include <wx/frame.h>
#include <wx/panel.h>

#include "tests/support/WindowTest.h"

using namespace wxcorvan;

class wxcGaugeTest : public testing::Test
{
protected:
    static constexpr int s_width = 300;

    wxcGaugeTest()
    {
        ShowActive(*m_frame);
        g_signal_connect_swapped(m_gauge->GetHandle(), "notify::fraction", G_CALLBACK(Count),
                                 &m_paintsPlanned);
    }
    ~wxcGaugeTest() override
    {
        m_frame->Destroy();
    }

    /// Where the bar that is on the screen ends, in pixels.
    double BarEnd() const
    {
        return s_width * gtk_progress_bar_get_fraction(GTK_PROGRESS_BAR(m_gauge->GetHandle()));
    }
    static void Count(int *counter)
    {
        ++*counter;
    }

    wxFrame *m_frame = new wxFrame(nullptr, wxID_ANY, "gauge");
    wxPanel *m_panel = new wxPanel(m_frame);
    wxcGauge *m_gauge = new wxcGauge(m_panel, wxID_ANY, 100'000, {0, 0}, {s_width, 10});
    int m_paintsPlanned = 0;
};

TEST_F(wxcGaugeTest, TakesEveryValueAndPaintsOncePerPixel)
{
    for (int value = 1; value <= 100'000; ++value)
    {
        m_gauge->SetValue(value);
        ASSERT_EQ(m_gauge->GetValue(), value);
        ASSERT_NEAR(BarEnd(), s_width * value / 100'000.0, 1.0) << "value " << value;
    }
    EXPECT_EQ(BarEnd(), s_width);
    EXPECT_GE(m_paintsPlanned, s_width);
    EXPECT_LE(m_paintsPlanned, s_width + 1);
}

TEST_F(wxcGaugeTest, IsEmptyAtZeroAndNotAboveIt)
{
    m_gauge->SetValue(1);
    EXPECT_GT(BarEnd(), 0.0);
    m_gauge->SetValue(0);
    EXPECT_EQ(BarEnd(), 0.0);
    EXPECT_EQ(m_gauge->GetValue(), 0);
}

TEST_F(wxcGaugeTest, ASmallerRangeCutsTheValue)
{
    m_gauge->SetValue(500);
    m_gauge->SetRange(10);
    EXPECT_EQ(m_gauge->GetValue(), 10);
    EXPECT_EQ(BarEnd(), s_width);
    m_gauge->SetRange(0);
    EXPECT_EQ(m_gauge->GetValue(), 0);
}
