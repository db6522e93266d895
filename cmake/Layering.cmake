# The layering of the source tree, checked. The files of a folder may include the headers of
# their own folder and of the folders below it, never of one above or beside it; the folder's
# CMakeLists.txt may link the targets of the same folders and outside libraries, nothing else.
# Only the desktop layer and the program's own Qt code include or link Qt. Run as
#   cmake -DROOT=<source tree> -P Layering.cmake
# It prints every include and every link that points the wrong way and fails if there is one.
#
cmake_minimum_required(VERSION 3.25)

# Each line names a folder and the folders that it knows directly; what those know, it may use
# too. A folder named here that does not exist yet is simply empty. Tests, fuzz targets,
# benchmarks, the receipt maker, the README's picture and the install rules sit beside the tree and may include
# and link anything of it, but nothing of the tree includes or links them.
set(arrows
  "program: app window inspector platform/qt"
  "inspector: examination window platform/qt"
  "window: receipts examination interfaces app platform/toolkit"
  "examination: receipts interfaces platform/toolkit"
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
set(qt_users program inspector platform/qt)
set(beside tests fuzz bench tools docs packaging)
# Each folder is one library target named after the folder's last part. platform/cf and
# platform/toolkit/cf would share a name, so the toolkit's is named in full.
set(target_platform/toolkit/cf toolkit_cf)

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

# Whether a header that lies in none of the folders is Qt's: anything under a module's folder
# (QtWidgets/QWidget) or Qt's own (qt6/QtCore/qglobal.h), or, named bare, a class or module
# header (QWidget, QtCore) or one of Qt's lower-case headers (qwidget.h, qglobal.h). Only bare
# names count, as sys/queue.h and linux/quota.h are the system's; the C, C++ and POSIX headers
# have no bare q*.h. A header of the tree with such a name is judged by its folder instead.
function(is_qt header out)
  string(REGEX MATCHALL "[^/]+" parts "${header}")
  list(POP_BACK parts name)
  set(${out} FALSE PARENT_SCOPE)
  foreach(part IN LISTS parts)
    if(part MATCHES "^(Qt[A-Za-z0-9]*|qt[0-9]*)$")
      set(${out} TRUE PARENT_SCOPE)
    endif()
  endforeach()
  if(NOT parts AND name MATCHES "^(Q[A-Za-z0-9_]*|q[a-z0-9_]*\\.h)$")
    set(${out} TRUE PARENT_SCOPE)
  endif()
endfunction()

set(wrong 0)
macro(report text)
  message("${text}")
  math(EXPR wrong "${wrong} + 1")
endmacro()

# The includes. The tree's top is the one include folder of every target, so `<window/W.h>`
# and `"window/W.h"` both mean the file window/W.h. A quoted include looks in the including
# file's folder first, as the compiler does; one spelled with ./ or ../ is taken there, with the
# dots resolved by name, so that it is judged by the folder it lands in.
set(patterns)
foreach(folder IN LISTS folders)
  foreach(extension IN ITEMS c cc cpp cxx h hh hpp hxx inl ipp)
    list(APPEND patterns "${ROOT}/${folder}/*.${extension}")
  endforeach()
endforeach()
file(GLOB_RECURSE sources RELATIVE "${ROOT}" ${patterns})
list(REMOVE_DUPLICATES sources)

# Code in a folder that no arrow names would escape every rule below: a new folder needs its
# line before its first file. Build trees and hidden folders are not the project's sources.
file(GLOB_RECURSE all_code RELATIVE "${ROOT}" "${ROOT}/*.cpp" "${ROOT}/*.h" "${ROOT}/*CMakeLists.txt")
list(FILTER all_code EXCLUDE REGEX "^(build/|\\.|CMakeLists\\.txt$)")
foreach(file IN LISTS all_code)
  folder_of("${file}" owner)
  if(owner STREQUAL "")
    report("${file}: no arrow names the folder of this file")
  endif()
endforeach()
foreach(source IN LISTS sources)
  folder_of("${source}" from)
  get_filename_component(here "${source}" DIRECTORY)
  file(STRINGS "${ROOT}/${source}" includes REGEX "^[ \t]*#[ \t]*include[ \t]*[<\"]")
  foreach(line IN LISTS includes)
    string(REGEX MATCH "include[ \t]*(<[^>]*>|\"[^\"]*\")" _ "${line}")
    string(SUBSTRING "${CMAKE_MATCH_1}" 0 1 bracket)
    string(REGEX REPLACE "^.(.*).$" "\\1" header "${CMAKE_MATCH_1}")
    set(base "")
    if(bracket STREQUAL "\"")
      if(header MATCHES "(^|/)\\.\\.?/" OR EXISTS "${ROOT}/${here}/${header}")
        set(base "${here}/")
      endif()
    endif()
    cmake_path(SET path NORMALIZE "${base}${header}")
    if(path MATCHES "^\\.\\./")
      report("${source}: ${from}/ must not include ${header} (it leaves the tree)")
      continue()
    endif()
    folder_of("${path}" to)
    if(to STREQUAL "")
      is_qt("${path}" qt)
      if(qt AND NOT from IN_LIST qt_users)
        report("${source}: ${from}/ must not include Qt: ${header}")
      endif()
    elseif(NOT to IN_LIST knows_${from})
      report("${source}: ${from}/ must not include ${header} (${to}/ is not below it)")
    endif()
  endforeach()
endforeach()

# The links. Which folder a target belongs to: its name after the folder, and whatever else a
# folder's CMakeLists.txt declares (the program, a library for tests). A name that is none of
# these is an outside library (OpenSSL, ICU, the flags of the build), or a variable the check
# cannot see through.
set(lists)
foreach(folder IN LISTS folders beside)
  get_filename_component(name "${folder}" NAME)
  if(DEFINED target_${folder})
    set(name ${target_${folder}})
  endif()
  if(folder IN_LIST folders)
    set(folder_of_target_${name} ${folder})
  endif()
  file(GLOB_RECURSE found RELATIVE "${ROOT}" "${ROOT}/${folder}/CMakeLists.txt")
  list(APPEND lists ${found})
endforeach()
list(REMOVE_DUPLICATES lists)
# The tree's own lists first: where a test's stand-in declares a target of the same name (as
# the wrong-way tree below tests/ does), the name is the tree's.
foreach(pass tree beside)
  foreach(list_file IN LISTS lists)
    folder_of("${list_file}" folder)
    set(side tree)
    if(folder IN_LIST beside)
      set(side beside)
    endif()
    if(NOT side STREQUAL pass)
      continue()
    endif()
    # Comments out, and the file's calls one by one: a command's name, then its arguments up to
    # the first ")", which is enough for the calls looked at here.
    file(READ "${ROOT}/${list_file}" text)
    string(REGEX REPLACE "#[^\n]*" "" text "${text}")
    string(REPLACE ";" " " text "${text}")
    string(REGEX MATCHALL "[A-Za-z_][A-Za-z0-9_]*[ \t]*\\([^)]*\\)" calls "${text}")
    foreach(call IN LISTS calls)
      string(REGEX MATCH "^([A-Za-z_0-9]+)[ \t]*\\([ \t\r\n]*([^ \t\r\n)]+)" _ "${call}")
      string(TOLOWER "${CMAKE_MATCH_1}" command)
      set(name "${CMAKE_MATCH_2}")
      if(command MATCHES "^add_(library|executable)$" AND NOT DEFINED folder_of_target_${name})
        set(folder_of_target_${name} ${folder})
      elseif(command STREQUAL "target_link_libraries")
        list(APPEND links_${list_file} "${call}")
      endif()
    endforeach()
  endforeach()
endforeach()

set(link_keywords PUBLIC PRIVATE INTERFACE LINK_PUBLIC LINK_PRIVATE LINK_INTERFACE_LIBRARIES
                  debug optimized general)
set(checked_lists 0)
foreach(list_file IN LISTS lists)
  folder_of("${list_file}" from)
  if(from IN_LIST beside)
    continue()
  endif()
  math(EXPR checked_lists "${checked_lists} + 1")
  foreach(call IN LISTS links_${list_file})
    string(REGEX REPLACE "^[^(]*\\((.*)\\)$" "\\1" arguments "${call}")
    string(REGEX MATCHALL "[^ \t\r\n]+" items "${arguments}")
    list(POP_FRONT items) # the target being linked
    foreach(item IN LISTS items)
      if(item IN_LIST link_keywords)
        continue()
      endif()
      if(item MATCHES "(^|[:<,])Qt[0-9]*::")
        if(NOT from IN_LIST qt_users)
          report("${list_file}: ${from}/ must not link Qt: ${item}")
        endif()
        continue()
      endif()
      # A target inside a generator expression, as $<LINK_ONLY:window>, is linked all the same.
      if(item MATCHES "^\\$<.*[:,]([^:,<>]+)>+$")
        set(item ${CMAKE_MATCH_1})
      endif()
      set(to "${folder_of_target_${item}}")
      if(NOT to STREQUAL "" AND NOT to IN_LIST knows_${from})
        report("${list_file}: ${from}/ must not link ${item} (${to}/ is not below it)")
      endif()
    endforeach()
  endforeach()
endforeach()

if(wrong GREATER 0)
  message(FATAL_ERROR "${wrong} include(s) or link(s) point the wrong way")
endif()
list(LENGTH sources count)
message("layering: the includes of ${count} files and the links of ${checked_lists} "
        "CMakeLists.txt point the right way")
