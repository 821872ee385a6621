# Install rules: the libraries, their headers (with the generated Version.hpp), the CMake package
# TovanelChatData (target Tovanel::ChatData; with its component Export, Tovanel::ChatExport; with
# its component Store, Tovanel::ChatStore) and the pkg-config files tovanel-chat-data.pc,
# tovanel-chat-export.pc and tovanel-chat-store.pc. The package files are
# relocatable: they find the prefix from where they are installed, so
# `cmake --install BUILD --prefix DIR` works with any DIR.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(TOVANEL_CHAT_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/TovanelChatData)

# Each library has its own export set, so that an application of the core alone needs none of the
# store's dependencies.
function(tovanel_install_library target export_set headers)
  install(TARGETS ${target} EXPORT ${export_set}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(DIRECTORY ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(EXPORT ${export_set} NAMESPACE Tovanel:: DESTINATION ${TOVANEL_CHAT_CMAKE_DIR})
endfunction()

tovanel_install_library(TovanelChatData TovanelChatDataTargets
  "${PROJECT_SOURCE_DIR}/include/;${PROJECT_BINARY_DIR}/include/")
tovanel_install_library(TovanelChatExport TovanelChatExportTargets
  "${PROJECT_SOURCE_DIR}/export/include/")
set(TOVANEL_CHAT_HAS_STORE FALSE)
if(TARGET TovanelChatStore)
  set(TOVANEL_CHAT_HAS_STORE TRUE)
  tovanel_install_library(TovanelChatStore TovanelChatStoreTargets
    "${PROJECT_SOURCE_DIR}/store/include/")
endif()

get_target_property(TOVANEL_CHAT_LIBRARY_TYPE TovanelChatData TYPE)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/TovanelChatDataConfig.cmake.in
  ${PROJECT_BINARY_DIR}/TovanelChatDataConfig.cmake
  INSTALL_DESTINATION ${TOVANEL_CHAT_CMAKE_DIR})
# 0.x releases promise compatibility within a minor version only.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TovanelChatDataConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TovanelChatDataConfig.cmake
  ${PROJECT_BINARY_DIR}/TovanelChatDataConfigVersion.cmake
  DESTINATION ${TOVANEL_CHAT_CMAKE_DIR})

# pkg-config: the prefix is found from the file's own place (${pcfiledir}).
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(TOVANEL_CHAT_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH TOVANEL_CHAT_PC_UP "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
  set(TOVANEL_CHAT_PC_PREFIX "\${pcfiledir}/${TOVANEL_CHAT_PC_UP}")
endif()
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(TOVANEL_CHAT_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(TOVANEL_CHAT_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
# A static library's users link its dependencies too; a shared library's do not. The store and
# the export library always require the core, whose headers their own include.
if(TOVANEL_CHAT_LIBRARY_TYPE STREQUAL "STATIC_LIBRARY")
  set(TOVANEL_CHAT_PC_REQUIRES "Requires")
  set(TOVANEL_CHAT_STORE_PC_REQUIRES "Requires: tovanel-chat-data = ${PROJECT_VERSION}, sqlite3")
else()
  set(TOVANEL_CHAT_PC_REQUIRES "Requires.private")
  set(TOVANEL_CHAT_STORE_PC_REQUIRES
    "Requires: tovanel-chat-data = ${PROJECT_VERSION}\nRequires.private: sqlite3")
endif()
set(TOVANEL_CHAT_PC_FILES tovanel-chat-data tovanel-chat-export)
if(TOVANEL_CHAT_HAS_STORE)
  list(APPEND TOVANEL_CHAT_PC_FILES tovanel-chat-store)
endif()
foreach(pc IN LISTS TOVANEL_CHAT_PC_FILES)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

# The installed tool finds a shared library installed beside it.
if(TARGET tovanel-chat AND NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  file(RELATIVE_PATH TOVANEL_CHAT_TOOL_TO_LIB "/prefix/${CMAKE_INSTALL_BINDIR}"
    "/prefix/${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(tovanel-chat PROPERTIES
    INSTALL_RPATH "\$ORIGIN/${TOVANEL_CHAT_TOOL_TO_LIB}")
endif()
