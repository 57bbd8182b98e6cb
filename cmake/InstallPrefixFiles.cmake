# Runs at install time (install(SCRIPT), after Packaging.cmake's
# install(CODE) has set VEK5_SOURCE_DIR, VEK5_WORK_DIR, VEK5_PKGLIBDIR,
# VEK5_CONFFILES and the relative CMAKE_INSTALL_<dir> of the configuration).
#
# The files that name absolute paths are made for the prefix being installed
# to, not the configured one: cpack installs under /usr whatever prefix the
# build was configured with, so the package's unit runs /usr/bin/upsmon-host
# and its configuration is /etc/vek5m, while "cmake --install" of a /usr/local
# build keeps /usr/local/bin and /usr/local/etc/vek5m.

include(GNUInstallDirs)    # the FULL_ directories of this CMAKE_INSTALL_PREFIX

set(VEK5_CONFDIR ${CMAKE_INSTALL_FULL_SYSCONFDIR}/vek5m)
string(MD5 vek5_key "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
set(vek5_out ${VEK5_WORK_DIR}/${vek5_key})

configure_file(${VEK5_SOURCE_DIR}/host/install/upsmon-host.service.in
               ${vek5_out}/upsmon-host.service @ONLY)
file(INSTALL ${vek5_out}/upsmon-host.service
     DESTINATION ${CMAKE_INSTALL_PREFIX}/lib/systemd/system)

# The program finds its configuration in its own directory. Debian's rule for
# links: relative within a top-level directory (a /usr/local build: the DESTDIR
# staging is complete in itself), absolute across them (the package's
# /usr/lib/... -> /etc/vek5m).
set(vek5_linkdir ${CMAKE_INSTALL_PREFIX}/${VEK5_PKGLIBDIR}/PVMX/drovaPanel)
string(REGEX MATCH "^/[^/]*" vek5_link_top ${vek5_linkdir})
string(REGEX MATCH "^/[^/]*" vek5_conf_top ${VEK5_CONFDIR})
if(vek5_link_top STREQUAL vek5_conf_top)
  file(RELATIVE_PATH vek5_target ${vek5_linkdir} ${VEK5_CONFDIR})
else()
  set(vek5_target ${VEK5_CONFDIR})
endif()
file(MAKE_DIRECTORY ${vek5_out}/PVMX/drovaPanel)
file(CREATE_LINK ${vek5_target} ${vek5_out}/PVMX/drovaPanel/db SYMBOLIC)
file(INSTALL ${vek5_out}/PVMX/drovaPanel/db DESTINATION ${vek5_linkdir})

file(INSTALL ${VEK5_CONFFILES} DESTINATION ${VEK5_CONFDIR})
