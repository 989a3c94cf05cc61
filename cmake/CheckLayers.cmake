# Keeps the libraries layered: a folder may include its own headers and those of folders below it,
# never one beside or above it. Run as `cmake -DROOT=<source dir> -P CheckLayers.cmake`.
set(levels
  ui 0
  core 1
  rules 2
  engine 3
  ai 4 cars 4
  game 5 season 5 reports 5 online 5
  tools 6 net 6
  cli 7 app 7
  tests 8 bench 8)

function(level_of folder out)
  list(FIND levels "${folder}" at)
  if(at EQUAL -1)
    set(${out} -1 PARENT_SCOPE)
  else()
    math(EXPR next "${at} + 1")
    list(GET levels ${next} lvl)
    set(${out} ${lvl} PARENT_SCOPE)
  endif()
endfunction()

set(problems "")
set(count 0)
foreach(folder IN LISTS levels)
  if(folder MATCHES "^[0-9]+$" OR NOT IS_DIRECTORY "${ROOT}/${folder}")
    continue()
  endif()
  level_of(${folder} own)
  file(GLOB_RECURSE sources "${ROOT}/${folder}/*.h" "${ROOT}/${folder}/*.cpp")
  foreach(source IN LISTS sources)
    file(STRINGS "${source}" includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"[a-z_]+/")
    foreach(line IN LISTS includes)
      string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([a-z_]+)/.*" "\\1" target "${line}")
      if(target STREQUAL folder)
        continue()
      endif()
      level_of(${target} theirs)
      math(EXPR count "${count} + 1")
      if(theirs EQUAL -1 OR NOT theirs LESS own)
        file(RELATIVE_PATH rel "${ROOT}" "${source}")
        string(STRIP "${line}" line)
        list(APPEND problems "${rel}: ${line} (${folder} may not include ${target})")
      endif()
    endforeach()
  endforeach()
endforeach()

if(problems)
  list(JOIN problems "\n  " text)
  message(FATAL_ERROR "Layering broken:\n  ${text}")
endif()
message(STATUS "Layering: ${count} includes across folders, all downward")
