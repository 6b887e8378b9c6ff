# What a device gets: `cmake --install`, and `cpack` for the Debian package.
# Of a domain that cannot exist until the owner names an address.
set(SONIC_MAINTAINER "sonicd maintainers <maintainers@sonicd.invalid>"
    CACHE STRING "Whom the package names as its maintainer")

set(deploy ${CMAKE_CURRENT_LIST_DIR})

# These name the program and its data by their places, which are known when they are installed.
function(install_configured source destination name)
  set(output ${CMAKE_CURRENT_BINARY_DIR}/installed/${source})
  install(CODE "set(BINDIR \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
set(SBINDIR \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_SBINDIR}\")
set(LIBEXECDIR \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBEXECDIR}\")
set(DATADIR \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}\")
configure_file(\"${deploy}/${source}\" \"${output}\" @ONLY)")
  install(FILES ${output} DESTINATION ${destination} RENAME ${name})
endfunction()
install_configured(systemd/sonicd@.service.in lib/systemd/system sonicd@.service)
install_configured(systemd/sonicd-watch@.service.in lib/systemd/system sonicd-watch@.service)
install(FILES ${deploy}/systemd/sonicd-watch@.timer DESTINATION lib/systemd/system)
install(FILES ${deploy}/systemd/sonicd-send@.service ${deploy}/systemd/sonicd-send@.timer
        DESTINATION lib/systemd/system)
install_configured(systemd/sonicd-compress.service.in lib/systemd/system sonicd-compress.service)
install_configured(systemd/sonicd-flush.service.in lib/systemd/system sonicd-flush.service)
install_configured(systemd/sonicd-room.service.in lib/systemd/system sonicd-room.service)
install_configured(systemd/sonicd-history.service.in lib/systemd/system sonicd-history.service)
install(FILES ${deploy}/systemd/sonicd-compress.timer ${deploy}/systemd/sonicd-history.timer
        ${deploy}/systemd/sonicd-room.timer DESTINATION lib/systemd/system)
install_configured(systemd/sonic-alarm.service.in lib/systemd/system sonic-alarm.service)
install(FILES ${deploy}/systemd/sonic-alarm.timer DESTINATION lib/systemd/system)
# On from the start; `systemctl stop` and then `systemctl mask` switch them off.
foreach(timer sonicd-history.timer sonicd-room.timer)
  file(CREATE_LINK ../${timer} ${CMAKE_CURRENT_BINARY_DIR}/${timer} SYMBOLIC)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${timer}
          DESTINATION lib/systemd/system/timers.target.wants)
endforeach()
install(DIRECTORY DESTINATION /etc/sonicd)  # for settings that somebody may write
install_configured(systemd/sonicd-simulated@.service.in lib/systemd/system sonicd-simulated@.service)
install_configured(systemd/sonic-port@.service.in lib/systemd/system sonic-port@.service)
# One fence for all: the first folder is that of every service whose name begins so.
set(fence 10-fence.conf)
install(FILES ${deploy}/systemd/fence.conf
        DESTINATION lib/systemd/system/sonicd-.service.d RENAME ${fence})
file(CREATE_LINK ../sonicd-.service.d/${fence} ${CMAKE_CURRENT_BINARY_DIR}/${fence} SYMBOLIC)
foreach(unit sonicd@ sonic-port@ sonic-load sonic-publish)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${fence} DESTINATION lib/systemd/system/${unit}.service.d)
endforeach()
install_configured(systemd/mosquitto.conf.in lib/systemd/system/mosquitto.service.d sonicd.conf)
install(FILES ${deploy}/systemd/sonicd-sonic-port.conf
        DESTINATION ${CMAKE_INSTALL_DATADIR}/sonicd RENAME sonic-port.conf)
install_configured(systemd/tmpfiles.conf.in lib/tmpfiles.d sonicd.conf)
install(FILES ${deploy}/systemd/sysusers.conf DESTINATION lib/sysusers.d RENAME sonicd.conf)
install(FILES ${deploy}/mosquitto/00-sonicd.conf ${deploy}/mosquitto/sonicd.conf
        DESTINATION /etc/mosquitto/conf.d)
file(STRINGS ${deploy}/debian/conffiles conffiles)
if(SONIC_LIVE_PAGE)
  install_configured(mosquitto/sonicd-live.conf.in /etc/mosquitto/conf.d sonicd-live.conf)
  install(FILES ${deploy}/mosquitto/sonicd-live.acl DESTINATION /etc/mosquitto)
  install(DIRECTORY ${LIVE_PAGE}/ DESTINATION ${CMAKE_INSTALL_DATADIR}/sonicd/live)
  set(page_description " a live\npage that the broker serves on the logger itself, port 8080,")
else()
  # A listener of an earlier package stays, and without the folder the broker would not start.
  install(DIRECTORY DESTINATION ${CMAKE_INSTALL_DATADIR}/sonicd/live)
  list(FILTER conffiles EXCLUDE REGEX live)
endif()
list(JOIN conffiles "\n" conffiles)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/conffiles "${conffiles}\n")
install(FILES ${deploy}/config.json DESTINATION ${CMAKE_INSTALL_DATADIR}/sonicd)

# Compressed as Debian wants it: the same bytes from every build.
function(install_gzipped source destination)
  get_filename_component(name ${source} NAME)
  set(output ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz)
  add_custom_command(OUTPUT ${output} COMMAND gzip -9nc ${source} > ${output} DEPENDS ${source}
                     VERBATIM)
  add_custom_target(gzip-${name} ALL DEPENDS ${output})
  install(FILES ${output} DESTINATION ${destination})
endfunction()
file(GLOB man_pages CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/doc/man/*.[18])
foreach(page IN LISTS man_pages)
  string(REGEX MATCH "[0-9]$" section ${page})
  install_gzipped(${page} ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
install_gzipped(${deploy}/debian/changelog ${CMAKE_INSTALL_DOCDIR})
install(FILES ${deploy}/debian/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${deploy}/debian/lintian-overrides
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME sonicd)
# All documents but those that are of use only in a checkout. README.md is beside them, so their index
# has another name there.
file(GLOB documents CONFIGURE_DEPENDS doc/*.md)
list(FILTER documents EXCLUDE REGEX "development|house-rules")
file(REMOVE_RECURSE ${CMAKE_CURRENT_BINARY_DIR}/installed/doc)
foreach(document IN LISTS documents ITEMS ${CMAKE_SOURCE_DIR}/README.md)
  file(RELATIVE_PATH name ${CMAKE_SOURCE_DIR} ${document})
  string(REGEX REPLACE "^doc/" "" installed_name ${name})
  if(name STREQUAL "doc/README.md")
    set(installed_name index.md)
  endif()
  file(READ ${document} text)
  string(REGEX REPLACE "\\[([^]]*)\\]\\((doc/)?(development|house-rules).md[^)]*\\)" "\\1" text "${text}")
  string(REPLACE "](doc/README.md" "](index.md" text "${text}")
  string(REPLACE "](doc/" "](" text "${text}")
  if(NOT name STREQUAL README.md)
    string(REPLACE "](README.md" "](index.md" text "${text}")
  endif()
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/installed/doc/${installed_name} "${text}")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${document})
endforeach()
install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/installed/doc/ DESTINATION ${CMAKE_INSTALL_DOCDIR})
file(GLOB pictures CONFIGURE_DEPENDS doc/*.png doc/*.svg)
install(FILES ${pictures} DESTINATION ${CMAKE_INSTALL_DOCDIR})
file(GLOB broker_examples CONFIGURE_DEPENDS ${deploy}/mosquitto/*.example)
install(FILES ${broker_examples} DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT ${SONIC_MAINTAINER})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"sonicd finds, sets up and samples an R. M. Young 81000 on a serial port of a
logger. Records go to data files and to the MQTT broker on it.
.
The package brings a unit for each port, the broker's configuration,${page_description}
sonic-port, which makes any serial port one that sonicd can use, and
sonic-simulator, which plays the instrument on a pseudo-terminal.")
# Libraries are found by dpkg-shlibdeps. Without the broker the program still writes its files; its
# clients are for the watch and for diagnosis, Python is for sonicd-setup and sonic-plot.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "python3, systemd | systemd-standalone-sysusers, systemd | systemd-standalone-tmpfiles")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "mosquitto, mosquitto-clients, zstd")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3-matplotlib, rsync, openssh-client, openssl, clickhouse-client")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_BINARY_DIR}/conffiles ${deploy}/debian/postinst
    ${deploy}/debian/prerm ${deploy}/debian/postrm)
set(CPACK_SONIC_LIVE_PAGE ${SONIC_LIVE_PAGE})
set(CPACK_SONIC_LIVE_PAGE_MISSING "${LIVE_PAGE_MISSING}")
set(CPACK_VERBATIM_VARIABLES ON)  # the reason may have any character
set(CPACK_PRE_BUILD_SCRIPTS ${deploy}/packing_tools.cmake)
include(CPack)
