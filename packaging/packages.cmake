# The packages that cpack makes: one of each component, as .deb and .rpm.
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR DEB RPM)
set(CPACK_COMPONENTS_ALL zanctl zanctl-exporter zanctl-sim zanctl-top)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGE_VENDOR "zanctl developers")
set(CPACK_PACKAGE_CONTACT "zanctl developers <zanctl@example.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_RELOCATABLE OFF)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/staged.cmake)
# What is installed into /etc is staged like everything else.
set(CPACK_SET_DESTDIR ON)
# Each package has a summary of its own, in front of its description.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_LICENSE Apache-2.0)
# The simulator's libzanml.so must not satisfy those who need the real one.
set(CPACK_RPM_PACKAGE_AUTOPROV no)
# rpmbuild knows no dates but of now.
set(CPACK_RPM_SPEC_MORE_DEFINE
"%define _build_id_links none
%define use_source_date_epoch_as_buildtime 1
%define clamp_mtime_to_source_date_epoch 1
%define _buildhost localhost")
# The directories that belong to others.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION "")
foreach(directory ${ZANCTL_UNITDIR} ${ZANCTL_SYSUSERSDIR} ${CMAKE_INSTALL_MANDIR}/man1
    ${CMAKE_INSTALL_MANDIR}/man5 ${CMAKE_INSTALL_MANDIR}/man8 ${CMAKE_INSTALL_LIBDIR}
    ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions ${CMAKE_INSTALL_DATADIR}/zsh/site-functions
    ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  while(directory)
    list(APPEND CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION ${CMAKE_INSTALL_PREFIX}/${directory})
    get_filename_component(directory "${directory}" DIRECTORY)
  endwhile()
endforeach()
list(APPEND CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
  ${CMAKE_INSTALL_FULL_SYSCONFDIR} ${CMAKE_INSTALL_FULL_SYSCONFDIR}/default)
list(REMOVE_DUPLICATES CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION)

# describe_package(<component> <section> <group> <summary> <description>)
macro(describe_package component section group summary description)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${description}")
  set(CPACK_RPM_${component}_PACKAGE_NAME ${component})
  set(CPACK_RPM_${component}_PACKAGE_GROUP "${group}")
  set(CPACK_RPM_${component}_PACKAGE_SUMMARY "${summary}")
  set(CPACK_RPM_${component}_PACKAGE_DESCRIPTION "${description}")
endmacro()

# relate_package(<component> Recommends|Suggests|Enhances <others>); cpack knows no weak dependencies
# of Debian's rpmbuild.
macro(relate_package component kind others)
  string(TOUPPER "${component}_PACKAGE_${kind}" field)
  set(CPACK_DEBIAN_${field} "${others}")
  string(APPEND CPACK_RPM_SPEC_MORE_DEFINE
    "\n%if \"%{name}\" == \"${component}\"\n${kind}: ${others}\n%endif")
endmacro()

# A package with settings that upgrades keep, and with units.
macro(keep_settings component)
  string(TOUPPER ${component} upper)
  set(scripts ${CMAKE_CURRENT_SOURCE_DIR}/deb/${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA
    ${scripts}/conffiles ${scripts}/postinst ${scripts}/prerm ${scripts}/postrm)
  set(scripts ${CMAKE_CURRENT_SOURCE_DIR}/rpm/${component})
  set(CPACK_RPM_${component}_USER_FILELIST
    "%config(noreplace) ${CMAKE_INSTALL_FULL_SYSCONFDIR}/default/${component}")
  set(CPACK_RPM_${component}_POST_INSTALL_SCRIPT_FILE ${scripts}/post)
  set(CPACK_RPM_${component}_PRE_UNINSTALL_SCRIPT_FILE ${scripts}/preun)
  set(CPACK_RPM_${component}_POST_UNINSTALL_SCRIPT_FILE ${scripts}/postun)
endmacro()

describe_package(zanctl admin "System Environment/Base"
  "command-line manager of Zanthe data-centre GPUs"
  "zanctl shows and manages the Zanthe GPUs of this machine: a one-screen
summary, CSV queries for scripts, a detailed report in text and XML,
scrolling monitors, topology and vGPU views, a logging daemon with replay,
GPU reset and copy-engine masks. zanctl-health says whether the GPUs are
fit for work, for schedulers and monitoring systems.

It reads everything through the maker's management library, libzanml.so,
which comes with the driver.")
relate_package(zanctl Suggests "zanctl-exporter, zanctl-sim, zanctl-top")
keep_settings(zanctl)

describe_package(zanctl-exporter net "System Environment/Daemons"
  "metrics of Zanthe data-centre GPUs for Prometheus"
  "zanctl-exporter serves what the Zanthe GPUs of this machine report as metrics
over HTTP, or writes them into a file for the collector of such files.

It goes on serving while a GPU or the management library hangs, and says so.
Rules for Prometheus and dashboards for Grafana come with it.")
set(CPACK_DEBIAN_ZANCTL-EXPORTER_PACKAGE_SOURCE zanctl)
# They make the service's user.
set(CPACK_DEBIAN_ZANCTL-EXPORTER_PACKAGE_DEPENDS
  "systemd | systemd-standalone-sysusers | systemd-sysusers")
set(CPACK_RPM_zanctl-exporter_PACKAGE_REQUIRES_POST /usr/bin/systemd-sysusers)
relate_package(zanctl-exporter Suggests zanctl)
keep_settings(zanctl-exporter)

describe_package(zanctl-sim devel "Development/Tools"
  "simulated machine with Zanthe data-centre GPUs"
  "zansim runs any command on a simulated machine: with a management library,
device nodes, processors and processes of its own, and without root or a
GPU. It is meant for those who write dashboards and scripts for these GPUs.

The machines that come with it range from one GPU to a host of 64, with
vGPUs and with failing hardware; a description of your own is a JSON file.")
set(CPACK_DEBIAN_ZANCTL-SIM_PACKAGE_SOURCE zanctl)
relate_package(zanctl-sim Recommends zanctl)
relate_package(zanctl-sim Enhances zanctl)

describe_package(zanctl-top admin "System Environment/Base"
  "live view of Zanthe data-centre GPUs"
  "zantop shows the Zanthe GPUs of this machine on the whole terminal: their
values, the history of these as graphs, and the processes that use them. It
shows a day that the logging daemon of zanctl has written in the same way.

It goes on working while a GPU hangs or is lost, and says so.")
set(CPACK_DEBIAN_ZANCTL-TOP_PACKAGE_SOURCE zanctl)
relate_package(zanctl-top Suggests "zanctl, zanctl-sim")

include(CPack)
