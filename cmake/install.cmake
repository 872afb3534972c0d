# SPDX-License-Identifier: Apache-2.0

# What `cmake --install` puts where. Everything finds the rest from its own place, so that the installed
# tree may be moved.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qeltemplate)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The library and its headers.
install(TARGETS qeltemplate EXPORT qeltemplate
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qeltemplate
        COMPONENT development
        ARCHIVE COMPONENT development
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development)

# find_package(qeltemplate CONFIG). A version below 1.0 may change the interface with its second number.
install(EXPORT qeltemplate NAMESPACE qeltemplate:: DESTINATION ${package_dir}
        FILE qeltemplate-config.cmake COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qeltemplate-config-version.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qeltemplate-config-version.cmake DESTINATION ${package_dir}
        COMPONENT development)

# pkg-config
file(RELATIVE_PATH include_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
     ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(${CMAKE_CURRENT_LIST_DIR}/qeltemplate.pc.in ${PROJECT_BINARY_DIR}/qeltemplate.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qeltemplate.pc DESTINATION ${pkgconfig_dir}
        COMPONENT development)

if(NOT TARGET qeltemplate-cli)
  return()
endif()

# The program, its pages, and the completion of its command line.
file(RELATIVE_PATH lib_from_bin ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(qeltemplate-cli PROPERTIES INSTALL_RPATH "$ORIGIN/${lib_from_bin}")
install(TARGETS qeltemplate-cli RUNTIME COMPONENT program)

# qeltemplate_install_file(file directory [name]): when the file is there.
function(qeltemplate_install_file file directory)
  if(NOT EXISTS ${PROJECT_SOURCE_DIR}/${file})
    return()
  endif()
  if(ARGC GREATER 2)
    set(rename RENAME ${ARGV2})
  endif()
  install(FILES ${PROJECT_SOURCE_DIR}/${file} DESTINATION ${directory} ${rename} COMPONENT program)
endfunction()

foreach(page IN ITEMS qeltemplate qeltemplate-apply qeltemplate-explain qeltemplate-inspect qeltemplate-lint
                      qeltemplate-prototype)
  qeltemplate_install_file(man/${page}.1 ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()
set(data ${CMAKE_INSTALL_DATADIR})
set(QELTEMPLATE_ZSH_DIR ${data}/zsh/site-functions CACHE STRING "Where zsh looks for completions")
qeltemplate_install_file(completions/qeltemplate.bash ${data}/bash-completion/completions qeltemplate)
qeltemplate_install_file(completions/_qeltemplate ${QELTEMPLATE_ZSH_DIR})
qeltemplate_install_file(completions/qeltemplate.fish ${data}/fish/vendor_completions.d)
