# CMake 3.25 makes no target of wxWidgets. Only GUI folders link this one, so <wx/...> elsewhere
# does not compile.
set(wxWidgets_CONFIG_OPTIONS --toolkit=gtk3)
find_package(wxWidgets 3.2 REQUIRED COMPONENTS core base)

add_library(wx INTERFACE)
target_include_directories(wx SYSTEM INTERFACE ${wxWidgets_INCLUDE_DIRS})
target_compile_definitions(wx INTERFACE ${wxWidgets_DEFINITIONS})
target_compile_options(wx INTERFACE ${wxWidgets_CXX_FLAGS})
target_link_libraries(wx INTERFACE ${wxWidgets_LIBRARIES})

# Half of the time that a window's source takes to compile goes into reading these.
set(WX_HEADERS <wx/dialog.h> <wx/event.h> <wx/frame.h> <wx/listctrl.h> <wx/sizer.h>)

# For the few files that speak to GTK itself.
pkg_check_modules(GTK REQUIRED IMPORTED_TARGET GLOBAL gtk+-3.0)
