# Warnings for our own targets; third-party headers come in as system includes and stay quiet.
function(velomark_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
    -Wcast-align -Woverloaded-virtual -Wimplicit-fallthrough)
  # g++ before 13 reports false -Wrestrict faults on std::string appends inlined at -O3.
  target_compile_options(${target} PRIVATE
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>,$<CONFIG:Release,MinSizeRel>>:-Wno-restrict>)
  if(VELOMARK_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# An engine library: plain C++, warnings on, includes from the repository root.
function(velomark_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_DEPS})
  velomark_warnings(${name})
endfunction()

# A subsystem whose sources have not landed yet: a target to link against already.
function(velomark_placeholder name)
  add_library(${name} INTERFACE)
  target_include_directories(${name} INTERFACE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} INTERFACE ${ARGN})
endfunction()
