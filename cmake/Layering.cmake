# The layering of the source tree, checked: every file of a folder may include the headers of
# its own folder and of the folders below it, never of one above or beside it, and only the
# desktop layer and the program's entry point include Qt. Run as
#   cmake -DROOT=<source tree> -P Layering.cmake
# It prints every include that points the wrong way and fails if there is one.
#
cmake_minimum_required(VERSION 3.25)

# Each line names a folder and the folders that it knows directly; what those know, it may use
# too. Tests, fuzz targets, benchmarks and the receipt maker sit beside the tree and may include
# anything of it, but nothing of the tree includes them.
set(arrows
  "program: app window platform/qt"
  "window: receipts interfaces app platform/toolkit"
  "app: platform/toolkit platform/storekit"
  "receipts: platform/toolkit"
  "interfaces: corefoundation platform/iokit"
  "corefoundation: platform/toolkit/cf platform/cf platform/toolkit app"
  "platform/toolkit/cf: platform/toolkit platform/cf"
  "platform/qt: platform/toolkit"
  "platform/iokit: platform/cf"
  "platform/storekit: platform/toolkit"
  "platform/toolkit:"
  "platform/cf:")
set(qt_users program platform/qt)
set(beside tests fuzz bench tools)

if(NOT ROOT)
  message(FATAL_ERROR "Layering.cmake needs -DROOT=<source tree>")
endif()

set(folders)
foreach(arrow IN LISTS arrows)
  string(REGEX MATCH "^([^:]+):(.*)$" _ "${arrow}")
  set(folder ${CMAKE_MATCH_1})
  string(STRIP "${CMAKE_MATCH_2}" known)
  separate_arguments(known)
  list(APPEND folders ${folder})
  set(knows_${folder} ${folder} ${known})
endforeach()
# Longer names first, so that a file finds the innermost folder that holds it.
list(SORT folders ORDER DESCENDING)

# What each folder may include: what it knows, and what that knows, until nothing is added.
set(changed TRUE)
while(changed)
  set(changed FALSE)
  foreach(folder IN LISTS folders)
    set(reach ${knows_${folder}})
    foreach(known IN LISTS knows_${folder})
      list(APPEND reach ${knows_${known}})
    endforeach()
    list(REMOVE_DUPLICATES reach)
    list(LENGTH reach after)
    list(LENGTH knows_${folder} before)
    if(NOT after EQUAL before)
      set(knows_${folder} ${reach})
      set(changed TRUE)
    endif()
  endforeach()
endwhile()

function(folder_of path out)
  foreach(folder IN LISTS folders beside)
    string(LENGTH "${folder}/" length)
    string(SUBSTRING "${path}" 0 ${length} head)
    if(head STREQUAL "${folder}/")
      set(${out} ${folder} PARENT_SCOPE)
      return()
    endif()
  endforeach()
  set(${out} "" PARENT_SCOPE)
endfunction()

set(wrong 0)
set(patterns)
foreach(folder IN LISTS folders)
  list(APPEND patterns "${ROOT}/${folder}/*.cpp" "${ROOT}/${folder}/*.h")
endforeach()
file(GLOB_RECURSE sources RELATIVE "${ROOT}" ${patterns})
list(REMOVE_DUPLICATES sources)
foreach(source IN LISTS sources)
  folder_of("${source}" from)
  file(STRINGS "${ROOT}/${source}" includes REGEX "^[ \t]*#[ \t]*include[ \t]*[<\"]")
  foreach(line IN LISTS includes)
    string(REGEX MATCH "[<\"]([^>\"]+)[>\"]" _ "${line}")
    set(header "${CMAKE_MATCH_1}")
    if(line MATCHES "<Q[A-Za-z]*[/>]" AND NOT from IN_LIST qt_users)
      message("${source}: ${from}/ must not include Qt: ${header}")
      math(EXPR wrong "${wrong} + 1")
    endif()
    if(NOT line MATCHES "\"" OR NOT header MATCHES "/")
      continue()
    endif()
    folder_of("${header}" to)
    if(to STREQUAL "" OR to IN_LIST knows_${from})
      continue()
    endif()
    message("${source}: ${from}/ must not include ${header} (${to}/ is not below it)")
    math(EXPR wrong "${wrong} + 1")
  endforeach()
endforeach()

if(wrong GREATER 0)
  message(FATAL_ERROR "${wrong} include(s) point the wrong way")
endif()
list(LENGTH sources count)
message("layering: the includes of ${count} files point the right way")
