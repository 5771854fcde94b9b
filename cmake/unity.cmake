# SPDX-License-Identifier: Apache-2.0
# Several sources compiled as one, which takes half the time or less: the standard library's templates, and those of the
# large header libraries, are instantiated once for all of them. The plain 64-bit build unites the tests only, so each
# source of the product still compiles alone somewhere. The client library and the platform's are never built so: their
# tests stand between one source and another.
set(HB_UNITY OFF CACHE STRING "Compile several sources as one: OFF, TESTS (those of the tests), ON (the daemon's as well)")
set_property(CACHE HB_UNITY PROPERTY STRINGS OFF TESTS ON)
find_program(HB_AWK awk)

# hb_unite_sources(FOLDERS...): compiles the C++ sources of each target of these folders up to twelve at a time.
#
# CMake's own UNITY_BUILD includes the sources by absolute paths, and the compiler cache of one clone would serve no
# other one; and it does not know which sources repeat a name.
function(hb_unite_sources)
  set(targets "")
  foreach(folder ${ARGN})
    get_property(of_folder DIRECTORY "${folder}" PROPERTY BUILDSYSTEM_TARGETS)
    list(APPEND targets ${of_folder})
  endforeach()
  foreach(target ${targets})
    hb_unite_sources_of(${target})
  endforeach()
endfunction()

function(hb_unite_sources_of target)
  get_target_property(sources ${target} SOURCES)
  get_target_property(directory ${target} SOURCE_DIR)
  get_target_property(binary_directory ${target} BINARY_DIR)
  set(left "")
  set(united "")
  foreach(source ${sources})
    get_filename_component(path "${source}" ABSOLUTE BASE_DIR "${directory}")
    get_source_file_property(definitions "${path}" TARGET_DIRECTORY ${target} COMPILE_DEFINITIONS)
    if(definitions OR NOT path MATCHES "\\.cpp$")
      list(APPEND left "${source}")
    else()
      list(APPEND united "${path}")
    endif()
  endforeach()
  list(LENGTH united count)
  if(count LESS 2)
    return()
  endif()
  # A source that repeats a name from now on belongs to another batch.
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${united})
  execute_process(
    COMMAND "${HB_AWK}" -v size=12 -f "${PROJECT_SOURCE_DIR}/cmake/batches.awk" ${united}
    OUTPUT_VARIABLE batches
    COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[0-9]+" batches "${batches}")
  foreach(path batch IN ZIP_LISTS united batches)
    file(RELATIVE_PATH path "${PROJECT_SOURCE_DIR}" "${path}")
    string(APPEND text_${batch} "#include \"${path}\"\n")
  endforeach()
  list(REMOVE_DUPLICATES batches)
  foreach(batch ${batches})
    set(file "${binary_directory}/${target}_${batch}.cpp")
    file(CONFIGURE OUTPUT "${file}" CONTENT "${text_${batch}}" @ONLY)
    # The sources see each other's names; where each is compiled alone these warnings stay.
    set_source_files_properties("${file}" TARGET_DIRECTORY ${target} PROPERTIES COMPILE_OPTIONS
                                                                                "-Wno-shadow;$<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>")
    list(APPEND left "${file}")
  endforeach()
  set_property(TARGET ${target} PROPERTY SOURCES ${left})
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}")
endfunction()
