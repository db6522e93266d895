# The layering check over the small tree in wrong-way/: it must fail, reporting each of these
# once and nothing more (receipts/RightWay.h and the right halves of the links must pass).
# Run as cmake -DCHECK=<Layering.cmake> -P WrongWay.cmake
cmake_minimum_required(VERSION 3.25)

set(expected
  # Quoted, from the top of the tree.
  "receipts/Upward.h: receipts/ must not include window/Window1.h (window/ is not below it)"
  # Angle brackets name the tree's own headers too.
  "receipts/AngleUpward.h: receipts/ must not include window/Window1.h (window/ is not below it)"
  # Relative paths land in window/, however they wind there.
  "receipts/RelativeUpward.cpp: receipts/ must not include ../window/Window1.h (window/ is not below it)"
  "receipts/RelativeUpward.cpp: receipts/ must not include detail/../../window/Window1.h (window/ is not below it)"
  "receipts/RelativeUpward.cpp: receipts/ must not include ../../outside/Window1.h (it leaves the tree)"
  # Qt by class header in either brackets, lower-case header, and module folder.
  "window/Widget.h: window/ must not include Qt: QWidget"
  "window/Widget.h: window/ must not include Qt: QObject"
  "window/LowerCase.h: window/ must not include Qt: qwidget.h"
  "window/ModulePath.h: window/ must not include Qt: QtWidgets/QWidget"
  # Links: a target above, Qt, and a target above inside a generator expression.
  "receipts/CMakeLists.txt: receipts/ must not link window (window/ is not below it)"
  "receipts/CMakeLists.txt: receipts/ must not link Qt: Qt6::Core"
  "window/CMakeLists.txt: window/ must not link inspector (inspector/ is not below it)"
  # Code in a folder that no arrow names.
  "stray/Stray.h: no arrow names the folder of this file")

execute_process(COMMAND ${CMAKE_COMMAND} -DROOT=${CMAKE_CURRENT_LIST_DIR}/wrong-way -P ${CHECK}
                RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
string(REPLACE "\n" ";" lines "${output}")
list(FILTER lines INCLUDE REGEX ": ([a-z/]+/ must not |no arrow names)")
list(LENGTH expected count)
set(missing ${expected})
list(REMOVE_ITEM missing ${lines})
set(unexpected ${lines})
list(REMOVE_ITEM unexpected ${expected})
list(LENGTH lines reported)
if(status EQUAL 0 OR missing OR unexpected OR NOT reported EQUAL count
   OR NOT output MATCHES "\n  ${count} include\\(s\\) or link\\(s\\) point the wrong way")
  list(JOIN missing "\n  " missing)
  list(JOIN unexpected "\n  " unexpected)
  message(FATAL_ERROR "The check said:\n${output}\nNot reported:\n  ${missing}\n"
                      "Reported besides:\n  ${unexpected}")
endif()
message("layering: the ${count} wrong-way includes and links are each reported once")
