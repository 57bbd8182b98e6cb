# Installed layout and the Debian package.
#
#   <prefix>/bin/upsmon-host, upssim            wrappers (see host/install)
#   <libdir>/vek5m/upsmon-host, upssim           the programs
#   <libdir>/vek5m/libvek5m_10-30k_Client.so     the plugin, next to its host
#   <libdir>/vek5m/PVMX/drovaPanel/db            link to <sysconfdir>/vek5m
#   <libdir>/libvek5m_10-30k.so                  the model driver, on the
#                                                loader's path by its name
#   <sysconfdir>/vek5m/                          param.ini, dev.ini,
#                                                serial.ini, historycodemap.csv
#   <datadir>/vek5m/scenarios/                   the simulator's scenarios
#   <prefix>/lib/systemd/system/upsmon-host.service   the service
#   <docdir>/examples/60-vek5m-rs485.rules       example udev rule
#
# With prefix /usr the configuration goes to /etc/vek5m. Stage with DESTDIR
# rather than --prefix: the configuration directory is fixed at configure time.

include(GNUInstallDirs)

set(VEK5_PKGLIBDIR ${CMAKE_INSTALL_LIBDIR}/vek5m)
set(VEK5_SCENARIODIR ${CMAKE_INSTALL_DATADIR}/vek5m/scenarios)
set(VEK5_CONFDIR ${CMAKE_INSTALL_FULL_SYSCONFDIR}/vek5m)
file(RELATIVE_PATH VEK5_BIN_TO_PKGLIB ${CMAKE_INSTALL_FULL_BINDIR}
     ${CMAKE_INSTALL_PREFIX}/${VEK5_PKGLIBDIR})
file(RELATIVE_PATH VEK5_BIN_TO_SCENARIO ${CMAKE_INSTALL_FULL_BINDIR}
     ${CMAKE_INSTALL_PREFIX}/${VEK5_SCENARIODIR})
file(RELATIVE_PATH vek5_db_link ${CMAKE_INSTALL_PREFIX}/${VEK5_PKGLIBDIR}/PVMX/drovaPanel
     ${VEK5_CONFDIR})

set(vek5_stage ${PROJECT_BINARY_DIR}/packaging)
configure_file(host/install/upsmon-host.in ${vek5_stage}/upsmon-host @ONLY)
configure_file(host/install/upssim.in ${vek5_stage}/upssim @ONLY)
configure_file(host/install/upsmon-host.service.in ${vek5_stage}/upsmon-host.service @ONLY)
file(MAKE_DIRECTORY ${vek5_stage}/PVMX/drovaPanel)
file(CREATE_LINK ${vek5_db_link} ${vek5_stage}/PVMX/drovaPanel/db SYMBOLIC)

install(PROGRAMS ${vek5_stage}/upsmon-host ${vek5_stage}/upssim
        DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS upsmon-host upssim RUNTIME DESTINATION ${VEK5_PKGLIBDIR})
install(TARGETS vek5m_10-30k_Client LIBRARY DESTINATION ${VEK5_PKGLIBDIR})
install(TARGETS vek5driver LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${vek5_stage}/PVMX/drovaPanel/db DESTINATION ${VEK5_PKGLIBDIR}/PVMX/drovaPanel)
install(DIRECTORY simulator/scenarios/ DESTINATION ${VEK5_SCENARIODIR}
        FILES_MATCHING PATTERN "*.scn")
set(vek5_conffiles
    host/install/param.ini host/install/dev.ini host/install/serial.ini
    ${PROJECT_BINARY_DIR}/host/historycodemap.csv)
install(FILES ${vek5_conffiles} DESTINATION ${VEK5_CONFDIR})
install(FILES host/README.md docs/register-map.md docs/status-model.md docs/metrics.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${vek5_stage}/upsmon-host.service DESTINATION lib/systemd/system)
install(FILES host/install/60-vek5m-rs485.rules docs/alerts.yml DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

# Debian package: cpack -G DEB in the build directory.
set(CPACK_PACKAGE_NAME "vek5m-10-30k")
set(CPACK_PACKAGE_VENDOR "vek5m")
set(CPACK_PACKAGE_CONTACT "vek5m maintainers <vek5m@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION "admin")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "The Qt 5 device plugin with its model driver library, the reference host
upsmon-host and the simulated UPS upssim, which answers Modbus RTU and
Modbus TCP.")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The window needs the X11 platform plugin, which the Qt libraries alone do
# not pull in.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libqt5gui5")
# The configuration is the site's: keep edits over upgrades. (CPack's own
# maintainer scripts refresh the loader cache for the driver.)
set(vek5_conffile_list "")
foreach(f IN LISTS vek5_conffiles)
  get_filename_component(name ${f} NAME)
  string(APPEND vek5_conffile_list "${VEK5_CONFDIR}/${name}\n")
endforeach()
file(WRITE ${vek5_stage}/debian/conffiles "${vek5_conffile_list}")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${vek5_stage}/debian/conffiles)
include(CPack)

# The installed layout, staged and run by the host's end-to-end test
# (label "package").
if(TARGET tst_host_headless)
  target_compile_definitions(tst_host_headless PRIVATE
      VEK5_CMAKE_COMMAND="${CMAKE_COMMAND}"
      VEK5_BUILD_DIR="${PROJECT_BINARY_DIR}"
      VEK5_INSTALL_PREFIX="${CMAKE_INSTALL_PREFIX}"
      VEK5_INSTALL_BINDIR="${CMAKE_INSTALL_BINDIR}"
      VEK5_INSTALL_LIBDIR="${CMAKE_INSTALL_LIBDIR}"
      VEK5_INSTALL_DOCDIR="${CMAKE_INSTALL_DOCDIR}"
      VEK5_PKGLIBDIR="${VEK5_PKGLIBDIR}"
      VEK5_CONFDIR="${VEK5_CONFDIR}")
  add_dependencies(tst_host_headless upsmon-host upssim vek5m_10-30k_Client vek5driver
                   upsmon-codemap-file)
endif()
