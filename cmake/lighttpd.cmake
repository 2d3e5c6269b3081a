# Reads a lighttpd source tree and its build.

# lighttpd_tree(PREFIX SOURCE BUILD): sets PREFIX_VERSION, and of a configured
# tree PREFIX_CONFIG_DIR, where its config.h is, and PREFIX_OPTIONS, what its
# own build defines on the command line. An unconfigured tree has neither.
function(lighttpd_tree prefix source build)
  if(NOT EXISTS "${source}/src/plugin.h" OR NOT EXISTS "${source}/configure.ac")
    message(FATAL_ERROR "\"${source}\" is not a lighttpd source tree")
  endif()
  file(STRINGS "${source}/configure.ac" line REGEX "^AC_INIT")
  if(NOT line MATCHES "\\[(1\\.4\\.[0-9]+)\\]")
    message(FATAL_ERROR "\"${source}\" is not a source tree of lighttpd 1.4")
  endif()
  set(${prefix}_VERSION ${CMAKE_MATCH_1} PARENT_SCOPE)

  # In this order: autotools; Meson; CMake.
  set(config_dir)
  foreach(directory . src build)
    if(NOT config_dir AND EXISTS "${build}/${directory}/config.h")
      set(config_dir "${build}/${directory}")
    endif()
  endforeach()
  set(${prefix}_CONFIG_DIR ${config_dir} PARENT_SCOPE)

  # The widths of file offsets and times are chosen there, and not in config.h.
  set(options -U_FILE_OFFSET_BITS -U_TIME_BITS)
  foreach(file src/Makefile compile_commands.json build/CMakeFiles/lighttpd.dir/flags.make build.ninja)
    if(EXISTS "${build}/${file}")
      file(READ "${build}/${file}" text)
      string(REGEX MATCHALL "-D_(FILE_OFFSET|TIME)_BITS=[0-9]+" found "${text}")
      list(APPEND options ${found})
      break()
    endif()
  endforeach()
  list(REMOVE_DUPLICATES options)
  set(${prefix}_OPTIONS ${options} PARENT_SCOPE)
endfunction()
