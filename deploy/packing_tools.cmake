# Run by cpack before it packs. Without one of these it guesses: a package for another architecture,
# or one that depends on no library, installs and cannot run.
foreach(tool dpkg dpkg-shlibdeps file)
  find_program(${tool}_program ${tool})
  if(NOT ${tool}_program)
    message(FATAL_ERROR "cpack needs ${tool}: script/bootstrap installs it")
  endif()
endforeach()

# The broker does not start without the page's folder, and nobody wants an empty one.
if(NOT EXISTS ${CPACK_TEMPORARY_DIRECTORY}/usr/share/sonicd/live/index.html)
  message(FATAL_ERROR "cpack needs the live page: script/bootstrap npm, then cmake and build again")
endif()
