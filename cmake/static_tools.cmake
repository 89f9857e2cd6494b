# The programs start in about 4 ms instead of 6.5 when libtiff (with the
# codecs it pulls in) and the C++ runtime are linked into them: otherwise 14
# shared objects are mapped and relocated at every start, which shows on a
# tool run once per job. glibc stays shared. Falls back to the shared
# libraries when a static archive is missing, and under the sanitizers.
option(KLUTEIDA_STATIC_TOOLS "Link libtiff and the C++ runtime into the programs" ON)

set(KLUTEIDA_TIFF TIFF::TIFF)
set(KLUTEIDA_STATIC_RUNTIME OFF)
if(KLUTEIDA_STATIC_TOOLS AND NOT (KLUTEIDA_SANITIZE OR KLUTEIDA_TSAN OR KLUTEIDA_FUZZ))
  find_package(PkgConfig QUIET)
  if(PkgConfig_FOUND)
    pkg_check_modules(KLUTEIDA_TIFF_PC QUIET libtiff-4)
  endif()
  set(archives "")
  set(complete ${KLUTEIDA_TIFF_PC_FOUND})
  foreach(lib IN LISTS KLUTEIDA_TIFF_PC_STATIC_LIBRARIES)
    if(lib MATCHES "^(m|pthread|dl|rt|c)$")
      continue()
    endif()
    find_library(KLUTEIDA_ARCHIVE_${lib} NAMES lib${lib}.a
                 HINTS ${KLUTEIDA_TIFF_PC_STATIC_LIBRARY_DIRS})
    if(NOT KLUTEIDA_ARCHIVE_${lib})
      set(complete FALSE)
      break()
    endif()
    list(APPEND archives ${KLUTEIDA_ARCHIVE_${lib}})
  endforeach()
  if(complete)
    find_package(Threads REQUIRED)
    add_library(kluteida_tiff_static INTERFACE)
    target_include_directories(kluteida_tiff_static INTERFACE ${KLUTEIDA_TIFF_PC_INCLUDE_DIRS})
    target_link_libraries(kluteida_tiff_static INTERFACE ${archives} m Threads::Threads)
    set(KLUTEIDA_TIFF kluteida_tiff_static)
    set(KLUTEIDA_STATIC_RUNTIME ON)
  endif()
endif()

# Links the C++ runtime into a program when libtiff is linked in too.
function(kluteida_static_runtime target)
  if(KLUTEIDA_STATIC_RUNTIME)
    target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc)
  endif()
endfunction()

# Links a program wholly statically, C library included, when libtiff and the
# C++ runtime are linked in and the C library's archive is there: no dynamic
# loader at all, 2 to 3% off a 4 M-point export on the development VM. For a
# program whose other libraries (libpng) are shared, kluteida_static_runtime.
find_library(KLUTEIDA_LIBC_ARCHIVE NAMES libc.a)
function(kluteida_static_program target)
  if(KLUTEIDA_STATIC_RUNTIME AND KLUTEIDA_LIBC_ARCHIVE)
    target_link_options(${target} PRIVATE -static)
  else()
    kluteida_static_runtime(${target})
  endif()
endfunction()
