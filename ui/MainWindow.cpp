#include "ui/MainWindow.h"

#include <algorithm>
#include <array>

#include <wx/imaglist.h>
#include <wx/listctrl.h>
#include <wx/sizer.h>
#include <wx/wupdlock.h>

#include "app/Ordwick.h"
#include "ostrel/CallEntry.h"
#include "ui/CommandIds.h"
#include "ui/FileList.h"
#include "ui/JobMenu.h"
#include "ui/SortArrows.h"
#include "wxcorvan/wxCorvanEvents.h"
#include "wxcorvan/wxcColors.h"
#include "wxcorvan/wxcStaticText.h"

using namespace ostrel;
using namespace wxcorvan;

namespace
{

/// The list's columns; the title is also the key of the stored width.
struct Column
{
    const char *title;
    int defaultWidth;
};
constexpr std::array<Column, 3> k_columns = {{{"Filename", 275}, {"Size", 100}, {"Date", 100}}};

/// What is stored may be wrong; a column that is wider than all screens hides the others for good,
/// and one of no width cannot be found with the mouse.
constexpr int k_min_column_width = 16;
constexpr int k_max_column_width = 4096;

constexpr int k_arrow_size = 12;
constexpr int k_side_border = 15;

} // namespace

BEGIN_EVENT_TABLE(MainWindow, wxCorvanFrame)
    EVT_CLOSE(MainWindow::OnClose)
    EVT_TIMER(wxID_ANY, MainWindow::OnTimer)
    EVT_COMBOBOX(wxID_ANY, MainWindow::OnChangeFormat)
    EVT_LIST_COL_CLICK(wxID_ANY, MainWindow::OnColClick)
    EVT_IDLE(MainWindow::IdleFileCheck)
    EVT_MENU(k_IdCustomRange, MainWindow::OnCustomRange)
    EVT_MENU(k_IdChangePaths, MainWindow::OnChangePaths)
    EVT_MENU(k_IdSelectBad, MainWindow::OnSelectBad)
    EVT_MENU(k_IdRequeueSelected, MainWindow::OnRequeueSelected)
    EVT_MENU(k_IdRequeueBad, MainWindow::OnRequeueBad)
    EVT_MENU(k_IdDeleteSelected, MainWindow::OnDeleteSelected)
    EVT_MENU(k_IdDeleteBad, MainWindow::OnDeleteBad)
    EVT_MENU(k_IdConfig, MainWindow::OnConfig)
    EVT_MENU(wxID_ANY, MainWindow::OnJobCommand)
    EVT_CORVAN_CONNECT(wxID_ANY, MainWindow::OnConnect)
    EVT_CORVAN_DISCONNECT(wxID_ANY, MainWindow::OnDisconnect)
END_EVENT_TABLE()

MainWindow::MainWindow(const wxString &title, const wxPoint &position, const wxSize &size)
    : wxCorvanFrame(title, position, size, wxDEFAULT_FRAME_STYLE)
{
    _CallEntry call("MainWindow::MainWindow", __FILE__, __LINE__);

    SetBackgroundColour(wxcGetColor(color_WindowBG));
    BuildMenus();
    LoadWindowPosition();
    BuildStatusBar();

    SetSizer(new wxBoxSizer(wxVERTICAL));
    BuildConnectedView();

    m_refreshTimer = std::make_unique<wxTimer>(this, -1);
    wxTimerEvent firstCycle(*m_refreshTimer);
    OnTimer(firstCycle);

    BuildNotConnectedView();
    SetConnected(false);
    Show();
}

MainWindow::~MainWindow()
{
    _CallEntry call("MainWindow::~MainWindow", __FILE__, __LINE__);
}

void MainWindow::BuildStatusBar()
{
    _CallEntry call("MainWindow::BuildStatusBar", __FILE__, __LINE__);

    wxStatusBar *bar = CreateStatusBar(3, wxSTB_DEFAULT_STYLE, 0);
    bar->SetBackgroundColour(wxcGetColor(color_WindowBGLighter));
    bar->SetForegroundColour(wxcGetColor(color_Text));
}

void MainWindow::BuildConnectedView()
{
    _CallEntry call("MainWindow::BuildConnectedView", __FILE__, __LINE__);

    m_connectedView = new wxBoxSizer(wxVERTICAL);
    GetSizer()->Add(m_connectedView, 1, wxEXPAND);

    BuildFormatRow();
    m_connectedView->AddSpacer(5);
    BuildFileList();
    ShowSortColumn();

    m_progress = new wxcGauge(this, -1, 0, wxDefaultPosition, wxSize(-1, 10), wxGA_HORIZONTAL);
    m_connectedView->Add(m_progress, 0, wxEXPAND | wxLEFT | wxRIGHT, k_side_border);
    m_connectedView->AddSpacer(15);
}

void MainWindow::BuildFormatRow()
{
    _CallEntry call("MainWindow::BuildFormatRow", __FILE__, __LINE__);

    auto *row = new wxBoxSizer(wxHORIZONTAL);
    row->Add(new wxcStaticText(this, -1, "Select a format: "), 0, wxALIGN_CENTER_VERTICAL);
    m_formatChoice = new wxcChoice(this, -1);
    row->Add(m_formatChoice, 1, wxALIGN_CENTER_VERTICAL);
    m_connectedView->Add(row, 0, wxEXPAND | wxLEFT | wxRIGHT | wxTOP, k_side_border);
}

void MainWindow::BuildFileList()
{
    _CallEntry call("MainWindow::BuildFileList", __FILE__, __LINE__);

    m_fileList = new FileList(this);
    const OptionsFile &options = wxGetApp().Options();
    for (const Column &column : k_columns)
    {
        const int width = options.GetValue("FileListCols", column.title, column.defaultWidth);
        m_fileList->AddColumn(column.title,
                              std::clamp(width, k_min_column_width, k_max_column_width));
    }
    wxFont font = m_fileList->GetFont();
    font.SetFractionalPointSize(font.GetFractionalPointSize() - 1);
    m_fileList->SetFont(font);

    auto *arrows = new wxImageList(k_arrow_size, k_arrow_size, true, 1);
    arrows->Add(wxBitmap(sortUp_xpm));
    arrows->Add(wxBitmap(sortDown_xpm));
    m_fileList->AssignImageList(arrows, wxIMAGE_LIST_SMALL);

    m_connectedView->Add(m_fileList, 1, wxEXPAND | wxLEFT | wxRIGHT, k_side_border);
}

void MainWindow::ShowSortColumn()
{
    _CallEntry call("MainWindow::ShowSortColumn", __FILE__, __LINE__);

    const OptionsFile &options = wxGetApp().Options();
    m_sortColumn = options.GetValue("Window", "SortCol", 0);
    m_sortAscending = options.GetValue("Window", "SortAscending", true);
    ShowColumnArrow();
    m_fileList->SetHighlightColumn(m_sortColumn);
}

void MainWindow::BuildNotConnectedView()
{
    _CallEntry call("MainWindow::BuildNotConnectedView", __FILE__, __LINE__);

    m_notConnectedView = new wxBoxSizer(wxVERTICAL);
    GetSizer()->Add(m_notConnectedView, 1, wxEXPAND);

    // One part of space above and two below: the text stands at a third of the height.
    m_notConnectedView->AddStretchSpacer(1);
    m_notConnectedView->Add(new wxcStaticText(this, -1, _("Not connected to the Master")), 0,
                            wxALIGN_CENTER);
    m_notConnectedView->AddStretchSpacer(2);
}

bool MainWindow::IsConnectedViewShown() const
{
    _CallEntry call("MainWindow::IsConnectedViewShown", __FILE__, __LINE__);

    return GetSizer()->IsShown(m_connectedView);
}

void MainWindow::SetConnected(bool connected)
{
    _CallEntry call("MainWindow::SetConnected", __FILE__, __LINE__);

    const wxWindowUpdateLocker frozen(this);
    GetSizer()->Show(m_connectedView, connected, true);
    GetSizer()->Show(m_notConnectedView, !connected, true);
    ShowProgress();
    Layout();
}

void MainWindow::OnConnect(wxCommandEvent & /*event*/)
{
    _CallEntry call("MainWindow::OnConnect", __FILE__, __LINE__);

    SetConnected(true);
    CheckFiles(false);
}

void MainWindow::OnDisconnect(wxCommandEvent & /*event*/)
{
    _CallEntry call("MainWindow::OnDisconnect", __FILE__, __LINE__);

    SetConnected(false);
    StopTimer();
}

void MainWindow::StopTimer()
{
    _CallEntry call("MainWindow::StopTimer", __FILE__, __LINE__);

    if (m_refreshTimer)
        m_refreshTimer->Stop();
}

void MainWindow::OnClose(wxCloseEvent &event)
{
    _CallEntry call("MainWindow::OnClose", __FILE__, __LINE__);

    FillJobMenu(nullptr, 4);
    ClearList();
    {
        OptionsFile &options = wxGetApp().Options();
        const OptionsBatch batch(options);
        SaveColumnWidths(options);
        SaveWindowPosition();
    }
    m_refreshTimer.reset();
    event.Skip();
}

void MainWindow::SaveColumnWidths(OptionsFile &options)
{
    _CallEntry call("MainWindow::SaveColumnWidths", __FILE__, __LINE__);

    options.InsertSection("FileListCols");
    for (int column = 0; column < int(k_columns.size()); ++column)
    {
        String width;
        width = m_fileList->GetColumnWidth(column);
        options.SetValue(k_columns[column].title, width);
    }
}
