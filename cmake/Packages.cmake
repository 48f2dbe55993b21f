# Debian packages, by `cpack` in a build folder, or by packaging/try-packages, which tries them too.
#
#   ordwick-common   job types, colours and icons, which all programs read
#   corvan-cli       the command corvan, and corvan-web with its page
#   ordwick          the window
#   corvan-master    the Master as a service, with its user
#
# A plain `cmake --install` leaves out what belongs to a package alone: it may go to any folder, while
# a unit and the settings in /etc have one place.
set(debian ${PROJECT_SOURCE_DIR}/packaging/debian)
set(package_common ordwick-common)
set(package_cli corvan-cli)
set(package_window ordwick)
set(package_master corvan-master)

foreach(component common cli window master)
    set(docs ${CMAKE_INSTALL_DATADIR}/doc/${package_${component}})
    install(FILES ${debian}/copyright ${PROJECT_BINARY_DIR}/packaging/changelog.gz
        DESTINATION ${docs} COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/docs/notices.md ${PROJECT_SOURCE_DIR}/docs/service.md
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package_master} COMPONENT master EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_SOURCE_DIR}/docs/api.md ${PROJECT_SOURCE_DIR}/docs/web.md
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package_cli} COMPONENT cli EXCLUDE_FROM_ALL)
# Nobody's until an administrator has given it a user, a certificate and a token.
install(FILES ${debian}/corvan-web.service
    DESTINATION /lib/systemd/system COMPONENT cli EXCLUDE_FROM_ALL)
install(FILES ${debian}/corvan-master.service
    DESTINATION /lib/systemd/system COMPONENT master EXCLUDE_FROM_ALL)
install(FILES ${debian}/corvan-master.ini
    DESTINATION /etc/corvan-master COMPONENT master EXCLUDE_FROM_ALL)
install(FILES ${debian}/corvan-master.default
    DESTINATION /etc/default RENAME corvan-master COMPONENT master EXCLUDE_FROM_ALL)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ordwick)
set(CPACK_PACKAGE_CONTACT "The Ordwick developers <ordwick@localhost.localdomain>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL common cli window master)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SOURCE ordwick)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Programs and job types of one version belong together.
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_COMMON_PACKAGE_NAME ${package_common})
set(CPACK_DEBIAN_COMMON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_COMMON_DESCRIPTION "job types and colours of a render farm
Which commands render a job's frames, and what one can do with the
result: a plain command, POV-Ray and Blender. The window, the command line
and the Master read these files.")

set(CPACK_DEBIAN_CLI_PACKAGE_NAME ${package_cli})
set(CPACK_COMPONENT_CLI_DEPENDS common)
set(CPACK_DEBIAN_CLI_PACKAGE_RECOMMENDS "corvan-master, libjs-dygraphs")
set(CPACK_DEBIAN_CLI_PACKAGE_SUGGESTS "ordwick, xdg-utils, povray, blender")
set(CPACK_DEBIAN_CLI_DESCRIPTION "hand in render jobs and check their frames
The command corvan hands in jobs, lists and changes them, and looks at
their frames: which are missing, cut short or unlike their neighbours, and
on demand which cannot be decoded. With it comes corvan-web, which shows
them in a browser.")

set(CPACK_DEBIAN_WINDOW_PACKAGE_NAME ${package_window})
set(CPACK_COMPONENT_WINDOW_DEPENDS common)
set(CPACK_DEBIAN_WINDOW_PACKAGE_RECOMMENDS "corvan-cli, corvan-master")
set(CPACK_DEBIAN_WINDOW_PACKAGE_SUGGESTS xdg-utils)
set(CPACK_DEBIAN_WINDOW_DESCRIPTION "watch the frames of a render job
A window that looks at the frames of one job again and again, and shows
which are missing, cut short or plainly odd, for as long as it is open.")

set(CPACK_DEBIAN_MASTER_PACKAGE_NAME ${package_master})
set(CPACK_COMPONENT_MASTER_DEPENDS common)
set(CPACK_DEBIAN_MASTER_PACKAGE_SECTION net)
set(CPACK_DEBIAN_MASTER_PACKAGE_DEPENDS adduser)
set(CPACK_DEBIAN_MASTER_PACKAGE_RECOMMENDS corvan-cli)
set(CPACK_DEBIAN_MASTER_PACKAGE_SUGGESTS "povray, blender")
set(CPACK_DEBIAN_MASTER_PACKAGE_CONTROL_EXTRA
    "${debian}/conffiles;${debian}/postinst;${debian}/prerm;${debian}/postrm")
set(CPACK_DEBIAN_MASTER_DESCRIPTION "keep the jobs of a render farm and run their commands
The Master keeps jobs in a store of its own, tells the programs that follow
a job what changes, and runs the commands that render. This package has it
run as a service, with a user of its own.")

include(CPack)
