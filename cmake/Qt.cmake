# Chooses the Qt generation and offers it as the one target micro850::QtCore.
#
# The records that cross the host interface hold QString, QByteArray and QList by value, so host and
# driver must agree on the generation. In Qt 4.8 and Qt 5 each of them is one pointer wide; in Qt 6
# they are three, and no host record would fit.

if(MICRO850_QT STREQUAL "5")
  find_package(Qt5 5.15 REQUIRED COMPONENTS Core)
  add_library(micro850_qtcore INTERFACE)
  target_link_libraries(micro850_qtcore INTERFACE Qt5::Core)
elseif(MICRO850_QT STREQUAL "4")
  find_package(Qt4 4.8 REQUIRED QtCore)
  add_library(micro850_qtcore INTERFACE)
  target_link_libraries(micro850_qtcore INTERFACE Qt4::QtCore)
elseif(MICRO850_QT STREQUAL "6")
  message(FATAL_ERROR
    "MICRO850_QT=6: the host's records hold strings, byte arrays and lists of one pointer each; "
    "Qt 6 makes them three pointers wide, so no such host could load the driver. Use 5 or 4.")
else()
  message(FATAL_ERROR "MICRO850_QT must be 4 or 5, not \"${MICRO850_QT}\".")
endif()
add_library(micro850::QtCore ALIAS micro850_qtcore)
