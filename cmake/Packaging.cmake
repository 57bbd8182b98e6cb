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
#   <prefix>/lib/udev/rules.d/60-vek5m-rs485.rules    USB-RS485 adapters
#   <docdir>/                                    README, copyright, changelog
#
# With prefix /usr the configuration goes to /etc/vek5m. The unit, the
# configuration and the program's link to it follow the prefix given at
# install time (cmake/InstallPrefixFiles.cmake); the package is always
# installed under /usr.

set(VEK5_PACKAGE vek5m-10-30k)
# Debian keeps a package's documents under its own name.
if(NOT CMAKE_INSTALL_DOCDIR)
  set(CMAKE_INSTALL_DOCDIR share/doc/${VEK5_PACKAGE})
endif()
# The programs, the plugin and the driver install beside their targets
# (VEK5_PKGLIBDIR and VEK5_SCENARIODIR come from the top-level CMakeLists).
if(NOT TARGET upsmon-host OR NOT TARGET upssim)
  return()
endif()
set(VEK5_CONFDIR ${CMAKE_INSTALL_FULL_SYSCONFDIR}/vek5m)
file(RELATIVE_PATH VEK5_BIN_TO_PKGLIB ${CMAKE_INSTALL_FULL_BINDIR}
     ${CMAKE_INSTALL_PREFIX}/${VEK5_PKGLIBDIR})
file(RELATIVE_PATH VEK5_BIN_TO_SCENARIO ${CMAKE_INSTALL_FULL_BINDIR}
     ${CMAKE_INSTALL_PREFIX}/${VEK5_SCENARIODIR})

set(vek5_stage ${PROJECT_BINARY_DIR}/packaging)
configure_file(host/install/upsmon-host.in ${vek5_stage}/upsmon-host @ONLY)
configure_file(host/install/upssim.in ${vek5_stage}/upssim @ONLY)

install(PROGRAMS ${vek5_stage}/upsmon-host ${vek5_stage}/upssim
        DESTINATION ${CMAKE_INSTALL_BINDIR})
set(vek5_conffiles
    ${PROJECT_SOURCE_DIR}/host/install/param.ini ${PROJECT_SOURCE_DIR}/host/install/dev.ini
    ${PROJECT_SOURCE_DIR}/host/install/serial.ini ${PROJECT_BINARY_DIR}/host/historycodemap.csv)
install(CODE "
  set(VEK5_SOURCE_DIR [[${PROJECT_SOURCE_DIR}]])
  set(VEK5_WORK_DIR [[${vek5_stage}/prefix]])
  set(VEK5_PKGLIBDIR [[${VEK5_PKGLIBDIR}]])
  set(VEK5_CONFFILES [[${vek5_conffiles}]])
  set(CMAKE_INSTALL_BINDIR [[${CMAKE_INSTALL_BINDIR}]])
  set(CMAKE_INSTALL_LIBDIR [[${CMAKE_INSTALL_LIBDIR}]])
  set(CMAKE_INSTALL_SYSCONFDIR [[${CMAKE_INSTALL_SYSCONFDIR}]])
  set(CMAKE_INSTALL_DOCDIR [[${CMAKE_INSTALL_DOCDIR}]])")
install(SCRIPT cmake/InstallPrefixFiles.cmake)
install(FILES host/README.md docs/register-map.md docs/status-model.md docs/metrics.md
              host/install/debian/copyright
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES docs/alerts.yml DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
install(FILES host/install/60-vek5m-rs485.rules DESTINATION lib/udev/rules.d)

# Debian package: cpack -G DEB in the build directory. Always under /usr,
# whatever prefix the build was configured with.
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_NAME ${VEK5_PACKAGE})
set(CPACK_PACKAGE_VENDOR "vek5m")
set(CPACK_PACKAGE_CONTACT "vek5m maintainers <maintainers@vek5m.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION "admin")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "The Qt 5 device plugin with its model driver library, the reference host
upsmon-host and the simulated UPS upssim, which answers Modbus RTU and
Modbus TCP.")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# postinst creates the service's user.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "adduser")
# The window needs the X11 platform plugin, which the Qt libraries alone do
# not pull in.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libqt5gui5")

set(vek5_debian ${vek5_stage}/debian)
configure_file(host/install/debian/changelog.in ${vek5_debian}/changelog @ONLY)
execute_process(COMMAND gzip -9nc ${vek5_debian}/changelog
                OUTPUT_FILE ${vek5_debian}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
install(FILES ${vek5_debian}/changelog.gz DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The configuration is the site's: keep edits over upgrades.
set(vek5_package_prefix ${CMAKE_INSTALL_PREFIX})
set(CMAKE_INSTALL_PREFIX ${CPACK_PACKAGING_INSTALL_PREFIX})
GNUInstallDirs_get_absolute_install_dir(vek5_package_sysconfdir CMAKE_INSTALL_SYSCONFDIR SYSCONFDIR)
set(CMAKE_INSTALL_PREFIX ${vek5_package_prefix})
set(vek5_conffile_list "")
foreach(f IN LISTS vek5_conffiles)
  get_filename_component(name ${f} NAME)
  string(APPEND vek5_conffile_list "${vek5_package_sysconfdir}/vek5m/${name}\n")
endforeach()
file(WRITE ${vek5_debian}/conffiles "${vek5_conffile_list}")
# The driver is a public library, found by its name: dpkg reads its SONAME
# libvek5m_10-30k.so as library "libvek5m_10", version "30k".
file(WRITE ${vek5_debian}/shlibs "libvek5m_10 30k ${VEK5_PACKAGE} (>= ${PROJECT_VERSION})\n")
file(WRITE ${vek5_debian}/triggers "activate-noawait ldconfig\n")
# The service's user, its unit enabled and started, reloaded on upgrade and
# stopped on removal.
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${vek5_debian}/conffiles ${vek5_debian}/shlibs
    ${vek5_debian}/triggers
    ${PROJECT_SOURCE_DIR}/host/install/debian/postinst
    ${PROJECT_SOURCE_DIR}/host/install/debian/prerm
    ${PROJECT_SOURCE_DIR}/host/install/debian/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
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
      VEK5_PKGLIBDIR="${VEK5_PKGLIBDIR}"
      VEK5_CONFDIR="${VEK5_CONFDIR}")
  add_dependencies(tst_host_headless upsmon-host upssim vek5m_10-30k_Client vek5driver
                   upsmon-codemap-file)
endif()
