# What a device gets: `cmake --install`, and `cpack` for the Debian package.
# Of a domain that cannot exist until the owner names an address.
set(SONIC_MAINTAINER "sonicd maintainers <maintainers@sonicd.invalid>"
    CACHE STRING "Whom the package names as its maintainer")

set(deploy ${CMAKE_CURRENT_LIST_DIR})

# These name the program and its data by their places, which are known when they are installed.
function(install_configured source destination name)
  set(output ${CMAKE_CURRENT_BINARY_DIR}/installed/${source})
  install(CODE "set(SBINDIR \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_SBINDIR}\")
set(DATADIR \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}\")
configure_file(\"${deploy}/${source}\" \"${output}\" @ONLY)")
  install(FILES ${output} DESTINATION ${destination} RENAME ${name})
endfunction()
install_configured(systemd/sonicd@.service.in lib/systemd/system sonicd@.service)
install_configured(systemd/tmpfiles.conf.in lib/tmpfiles.d sonicd.conf)
install(FILES ${deploy}/systemd/sysusers.conf DESTINATION lib/sysusers.d RENAME sonicd.conf)
install(FILES ${deploy}/mosquitto/sonicd.conf DESTINATION /etc/mosquitto/conf.d)
install(FILES ${deploy}/config.json DESTINATION ${CMAKE_INSTALL_DATADIR}/sonicd)
install(PROGRAMS tools/sonic-plot DESTINATION ${CMAKE_INSTALL_BINDIR} OPTIONAL)

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
install(FILES ${deploy}/debian/copyright doc/operations.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES doc/data-format.md doc/scale-out.md doc/reliability.md DESTINATION ${CMAKE_INSTALL_DOCDIR} OPTIONAL)
file(GLOB broker_examples CONFIGURE_DEPENDS ${deploy}/mosquitto/*.example)
install(FILES ${broker_examples} DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT ${SONIC_MAINTAINER})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"sonicd finds, sets up and samples an R. M. Young 81000 on a serial port of a
data logger. Records go to half-hour files and to the MQTT broker on the
device.
.
The package brings a unit for each port, the broker's configuration and
sonic-simulator, which plays the instrument on a pseudo-terminal.")
# Libraries are found by dpkg-shlibdeps. Without the broker the program still writes its files;
# Python is for sonic-plot.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "systemd | systemd-standalone-sysusers, systemd | systemd-standalone-tmpfiles")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "mosquitto, python3")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "mosquitto-clients, python3-matplotlib")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${deploy}/debian/conffiles ${deploy}/debian/postinst
    ${deploy}/debian/prerm ${deploy}/debian/postrm)
include(CPack)
