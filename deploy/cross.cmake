# A Debian cross compiler, libraries of the other architecture from a folder (script/cross fills
# it), and qemu to run the tests. The file that includes this one says which.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
set(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-${debian_architecture})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${CMAKE_SYSROOT}/usr/lib/${triplet}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
set(CMAKE_CROSSCOMPILING_EMULATOR ${qemu};-L;${CMAKE_SYSROOT})
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${debian_architecture})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    ${CMAKE_SYSROOT}/lib/${triplet} ${CMAKE_SYSROOT}/usr/lib/${triplet})
