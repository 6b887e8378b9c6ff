# Run by cpack before it packs. Without one of these it guesses: a package for another architecture,
# or one that depends on no library, installs and cannot run.
foreach(tool dpkg dpkg-shlibdeps file)
  find_program(${tool}_program ${tool})
  if(NOT ${tool}_program)
    message(FATAL_ERROR "cpack needs ${tool}: script/bootstrap installs it")
  endif()
endforeach()

# A listener whose folder is empty is of no use.
if(CPACK_SONIC_LIVE_PAGE AND NOT EXISTS ${CPACK_TEMPORARY_DIRECTORY}/usr/share/sonicd/live/index.html)
  message(FATAL_ERROR "No package without the live page, or else with cmake -DSONIC_LIVE_PAGE=OFF. "
                      "When cmake ran last: ${CPACK_SONIC_LIVE_PAGE_MISSING}")
endif()
