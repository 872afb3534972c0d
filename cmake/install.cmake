# SPDX-License-Identifier: Apache-2.0

# What `cmake --install` puts where. Everything finds the rest from its own place, so that the installed
# tree may be moved.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

# qeltemplate_install_package(name description component [module...]): what finds the target `name` of the
# export of that name, from CMake and from pkg-config. The modules of pkg-config are what it is made with:
# who links it needs them, too, where it is static. A version below 1.0 may change the interface with its
# second number.
function(qeltemplate_install_package name description component)
  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${name})
  install(EXPORT ${name} NAMESPACE qeltemplate:: DESTINATION ${package_dir}
          FILE ${name}-targets.cmake COMPONENT ${component})
  set(modules)
  get_target_property(type ${name} TYPE)
  if(type STREQUAL STATIC_LIBRARY)
    set(modules ${ARGN})
  endif()
  list(JOIN modules " " modules)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/package-config.cmake.in
                 ${PROJECT_BINARY_DIR}/${name}-config.cmake @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}-config.cmake DESTINATION ${package_dir}
          COMPONENT ${component})
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/${name}-config-version.cmake
                                   COMPATIBILITY SameMinorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/${name}-config-version.cmake DESTINATION ${package_dir}
          COMPONENT ${component})
  qeltemplate_install_module(${name} "${description}" ${component} ${ARGN})
endfunction()

# qeltemplate_install_module(name description component [ALWAYS module...] [module...]): what finds it from
# pkg-config alone. The modules behind ALWAYS are needed beside a shared library, too.
function(qeltemplate_install_module name description component)
  cmake_parse_arguments(PARSE_ARGV 3 given "" "" ALWAYS)
  set(modules ${given_ALWAYS})
  get_target_property(type ${name} TYPE)
  if(type STREQUAL STATIC_LIBRARY)
    list(APPEND modules ${given_UNPARSED_ARGUMENTS})
  endif()
  list(JOIN modules " " modules)
  file(RELATIVE_PATH include_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
       ${CMAKE_INSTALL_FULL_INCLUDEDIR})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/package.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT ${component})
endfunction()

# A header is found as <qeltemplate/edit/edit.h> and, as the headers find each other, as <edit/edit.h>.
function(qeltemplate_install_includes target)
  target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endfunction()

# The library and its headers.
qeltemplate_install_includes(qeltemplate)
install(TARGETS qeltemplate EXPORT qeltemplate
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qeltemplate
        COMPONENT development
        ARCHIVE COMPONENT development
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development)

qeltemplate_install_package(qeltemplate "${PROJECT_DESCRIPTION}" development)

# The careful edit. A static library needs the engine's beside it, which is in the same export.
qeltemplate_install_includes(qeltemplate_edit)
install(TARGETS qeltemplate_edit EXPORT qeltemplate
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qeltemplate
        COMPONENT development
        ARCHIVE COMPONENT development
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development)
qeltemplate_install_module(qeltemplate_edit "${PROJECT_DESCRIPTION}, with care" development qeltemplate)

# The files of a whole server. It needs the careful edit's library, which is in the same export.
qeltemplate_install_includes(qeltemplate_server)
install(TARGETS qeltemplate_server EXPORT qeltemplate
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qeltemplate
        COMPONENT development
        ARCHIVE COMPONENT development
        LIBRARY COMPONENT server NAMELINK_COMPONENT development)
qeltemplate_install_module(qeltemplate_server "Knows the files and the sites of a web server" development
                           ALWAYS qeltemplate_edit)

# The safe replacing of files.
if(TARGET qeltemplate_update)
  qeltemplate_install_includes(qeltemplate_update)
  install(TARGETS qeltemplate_update EXPORT qeltemplate_update
          FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qeltemplate
          COMPONENT development
          ARCHIVE COMPONENT development
          LIBRARY COMPONENT update NAMELINK_COMPONENT development)
  qeltemplate_install_package(qeltemplate_update "Replaces files, all or none, and asks their server"
                              development libacl libattr)
endif()

# The interfaces for other languages.
if(TARGET qeltemplate_c)
  install(TARGETS qeltemplate_c EXPORT qeltemplate_c
          FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qeltemplate
          COMPONENT c-development
          LIBRARY COMPONENT c NAMELINK_COMPONENT c-development)
  qeltemplate_install_package(qeltemplate_c "${PROJECT_DESCRIPTION}, from C" c-development)

  # The modules that call it.
  set(QELTEMPLATE_PHP_DIR ${CMAKE_INSTALL_DATADIR}/php CACHE STRING "Where PHP's classes are installed")
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/bindings/php/src/ DESTINATION ${QELTEMPLATE_PHP_DIR}/Qeltemplate
          COMPONENT php)
  set(QELTEMPLATE_PERL_DIR ${CMAKE_INSTALL_DATADIR}/perl5 CACHE STRING "Where Perl's modules are installed")
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/bindings/perl/lib/ DESTINATION ${QELTEMPLATE_PERL_DIR}
          COMPONENT perl FILES_MATCHING PATTERN *.pm)
endif()

if(TARGET qeltemplate_python)
  set(QELTEMPLATE_PYTHON_DIR lib/python3/dist-packages CACHE STRING
    "Where the Python package is installed, below the prefix")
  set(python_package ${QELTEMPLATE_PYTHON_DIR}/qeltemplate)
  file(RELATIVE_PATH lib_from_python ${CMAKE_INSTALL_PREFIX}/${python_package} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(qeltemplate_python PROPERTIES INSTALL_RPATH "$ORIGIN/${lib_from_python}")
  install(TARGETS qeltemplate_python LIBRARY DESTINATION ${python_package} COMPONENT python)
  get_target_property(python_sources qeltemplate_python QELTEMPLATE_PACKAGE_SOURCES)
  install(FILES ${python_sources} DESTINATION ${python_package} COMPONENT python)
endif()

if(NOT TARGET qeltemplate-cli)
  return()
endif()

# The program, its pages, and the completion of its command line.
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

foreach(page IN ITEMS qeltemplate qeltemplate-adopt qeltemplate-apply qeltemplate-explain qeltemplate-inspect
                      qeltemplate-lint qeltemplate-prototype qeltemplate-sites)
  qeltemplate_install_file(man/${page}.1 ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()
set(data ${CMAKE_INSTALL_DATADIR})
set(QELTEMPLATE_ZSH_DIR ${data}/zsh/site-functions CACHE STRING "Where zsh looks for completions")
qeltemplate_install_file(completions/qeltemplate.bash ${data}/bash-completion/completions qeltemplate)
qeltemplate_install_file(completions/_qeltemplate ${QELTEMPLATE_ZSH_DIR})
qeltemplate_install_file(completions/qeltemplate.fish ${data}/fish/vendor_completions.d)
