# What makes a fault in a released program a crash instead of a way in.  The receiver takes packets of anybody, and
# the console shows what they hold.  tests/install/check_hardening looks at the finished programs.
#
# Only in released builds: fortified calls need the optimiser, and sanitizers look at the same calls themselves.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)  # links position-independent programs as such

set(KORVANE_HARDENED OFF)
if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$" AND NOT KORVANE_SANITIZE)
  set(KORVANE_HARDENED ON)
endif()

if(KORVANE_HARDENED)
  # A distribution that asks for level 2 by its own flags gets 3 all the same; a C library that knows no 3 takes it
  # for 2.
  set(flags -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
  foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "KORVANE_HAS${flag}" known)
    check_cxx_compiler_flag(${flag} ${known})  # the last two belong to one kind of processor each
    if(${known})
      list(APPEND flags ${flag})
    endif()
  endforeach()
  target_compile_options(korvane_options INTERFACE ${flags})
  target_link_options(korvane_options INTERFACE LINKER:-z,relro,-z,now)
endif()
