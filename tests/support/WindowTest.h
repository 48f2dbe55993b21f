#pragma once

#include <functional>
#include <string>

#include <wx/app.h>
#include <wx/colour.h>
#include <wx/gdicmn.h>
#include <wx/image.h>

class wxTopLevelWindow;
class wxWindow;

/// Each window test program defines this: the application that its tests run in. The test main
/// starts it (`OnInit`) before the first test and ends it (`OnExit`) after the last; in between an
/// event loop is active, and tests run it by the functions below. A failed assertion of the
/// toolkit and a critical message of GTK fail the test that runs.
wxApp *MakeTestApp();

/// For whatever starts the toolkit in a test, once it is there: input is counted, nothing is
/// animated, and a test that stands still says so (`WatchTest`).
void SetUpWindowTests();

/// Handles events until `condition` is true. False when that took longer than `timeoutMs`, or than
/// a second in a test that has failed already, which so comes to its end.
bool PumpUntil(const std::function<bool()> &condition, int timeoutMs = 20'000);

/// Handles all that is waiting, idle work included.
void PumpIdle();

/// Shows a window and waits until it is on the screen and has the keyboard; fails the test when
/// that does not come about.
void ShowActive(wxTopLevelWindow &window);

/// Where the X server shows a window, its frame included: what `GetRect` says may still be on its
/// way there.
wxRect PlaceOnDisplay(const wxTopLevelWindow &window);

/// Moves and sizes a window, and waits until it is there; fails the test when it never is.
void PutOnDisplay(wxTopLevelWindow &window, const wxRect &place);

/// Whether a control gets the keyboard, which may be a moment late, as the window may that it is
/// in.
bool GetsKeyboard(const wxWindow &window);

/// Real keys, as a keyboard gives them to the window that has the focus: "ctrl+a", "shift+Down",
/// "Escape" (X key names); several by blanks, one after the other. Waits until a window of this
/// program has the keyboard; returns when the keys are handled. Keys and clicks that do not arrive
/// are a fatal failure, after which there is no further input.
void PressKeys(const std::string &keys);

/// Types a text.
void TypeText(const std::string &text);

/// A real click at a point of the window's client area (pixels), `modifiers` held ("ctrl",
/// "shift", "ctrl+shift" or none). Returns when it is handled.
void ClickAt(const wxWindow &window, const wxPoint &point, const std::string &modifiers = {},
             int button = 1);
void DoubleClickAt(const wxWindow &window, const wxPoint &point, int button = 1);

/// The two halves of a click with the left button, which may be at two places.
void PressButtonAt(const wxWindow &window, const wxPoint &point);
void ReleaseButtonAt(const wxWindow &window, const wxPoint &point);

/// Presses the left button at one point, moves to the other, and lets go.
void DragFromTo(const wxWindow &window, const wxPoint &from, const wxPoint &to);

/// Runs `steps` once the modal dialog that `show` opens is up and has the keyboard, however long
/// `show` takes to open it; returns when `show` returns. `steps` must end the dialog; when it
/// throws or ends without, or when the dialog never has the keyboard, the dialog is cancelled and
/// the test fails.
void WhileModal(const std::function<void()> &show,
                const std::function<void(wxTopLevelWindow &)> &steps);

/// What the screen shows at a point of a window's client area.
wxColour PixelAt(const wxWindow &window, const wxPoint &point);
/// The same of a part of it; what is not on the screen is left out.
wxImage ImageOf(const wxWindow &window, const wxRect &place);

/// Saves what the screen shows of a window as NAME.png in $ORDWICK_ARTEFACTS; nothing when that is
/// not set.
void Screenshot(const wxTopLevelWindow &window, const std::string &name);
