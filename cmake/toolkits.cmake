# Desktop toolkit integrations: optional libraries, each built only when its toolkit's
# development files are found. Without them the option switches itself off with a message
# and the rest of the build is unchanged.
# Like the tests and tools, a parent project gets them only when it asks (-DZELVO_GTK=ON).
option(ZELVO_GTK "Build zelvo::gtk, the GTK 4 integration (needs libgtk-4-dev)" ${PROJECT_IS_TOP_LEVEL})

if(ZELVO_GTK)
  pkg_check_modules(GTK4 IMPORTED_TARGET gtk4)
  pkg_check_modules(SOUP3 IMPORTED_TARGET libsoup-3.0)
  if(NOT GTK4_FOUND OR NOT SOUP3_FOUND)
    message(STATUS "zelvo::gtk is not built: GTK 4 and libsoup 3 (pkg-config gtk4 libsoup-3.0, Debian libgtk-4-dev libsoup-3.0-dev) were not found")
    set(ZELVO_GTK OFF)
  endif()
endif()
if(ZELVO_GTK)
  file(GLOB ZELVO_GTK_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/toolkit/gtk/*.cpp)
  add_library(zelvo_gtk ${ZELVO_GTK_SOURCES})
  add_library(zelvo::gtk ALIAS zelvo_gtk)
  target_include_directories(zelvo_gtk PRIVATE ${PROJECT_SOURCE_DIR}/src/toolkit)
  target_link_libraries(zelvo_gtk PUBLIC zelvo PkgConfig::GTK4 PRIVATE PkgConfig::SOUP3 $<BUILD_INTERFACE:zelvo_warnings>)
endif()

option(ZELVO_QT "Build zelvo::qt, the Qt 6 integration (needs qt6-base-dev)" ${PROJECT_IS_TOP_LEVEL})

if(ZELVO_QT)
  find_package(Qt6 6.4 QUIET COMPONENTS Widgets Network)
  if(NOT Qt6Widgets_FOUND OR NOT Qt6Network_FOUND)
    message(STATUS "zelvo::qt is not built: Qt 6.4 or later, Widgets and Network (Debian qt6-base-dev) were not found")
    set(ZELVO_QT OFF)
  endif()
endif()
if(ZELVO_QT)
  file(GLOB ZELVO_QT_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/toolkit/qt/*.cpp)
  add_library(zelvo_qt ${ZELVO_QT_SOURCES})
  add_library(zelvo::qt ALIAS zelvo_qt)
  target_include_directories(zelvo_qt PRIVATE ${PROJECT_SOURCE_DIR}/src/toolkit)
  target_link_libraries(zelvo_qt PUBLIC zelvo Qt6::Widgets PRIVATE Qt6::Network $<BUILD_INTERFACE:zelvo_warnings>)
endif()
