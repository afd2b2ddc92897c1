# What is installed: the program beside its catalogs, in a directory of its own, and a starter in bin/. All paths below the
# prefix are fixed, because the starter finds the program by a path relative to its own.
#
# 1.0.0 had the program and a directory for each locale in lib/kvxprereq. Neither dpkg nor rpm can replace such a directory by
# a link, so everything is one directory deeper now.
set(KVX_PRIVATE_DIR lib/kvxprereq/checker)
set(KVX_PROGRAM_MODE OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# Not by the umask: whoever can write to a directory can replace the program in it.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${KVX_PROGRAM_MODE})
set(KVX_INSTALLED ${PROJECT_BINARY_DIR}/installed) # files that only the installation needs

install(TARGETS kvxprereqcheck RUNTIME DESTINATION ${KVX_PRIVATE_DIR})
install(PROGRAMS package/kvxprereqcheck DESTINATION bin)
install(FILES samples/KVXprereqs.xml CHANGES DESTINATION share/doc/kvxprereqcheck)
install(DIRECTORY docs/examples DESTINATION share/doc/kvxprereqcheck FILE_PERMISSIONS ${KVX_PROGRAM_MODE})
file(GLOB KVX_COMPLETIONS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/completions/kvxprereqcheck)
install(FILES ${KVX_COMPLETIONS} DESTINATION share/bash-completion/completions)
# zsh has one file for all programs, and looks for it in another directory on Debian. fish needs a file for each program.
install(DIRECTORY completions/zsh/ DESTINATION share/zsh/site-functions)
file(MAKE_DIRECTORY ${KVX_INSTALLED})
file(CREATE_LINK ../site-functions/_kvxprereqcheck ${KVX_INSTALLED}/_kvxprereqcheck SYMBOLIC)
install(FILES ${KVX_INSTALLED}/_kvxprereqcheck DESTINATION share/zsh/vendor-completions)
install(DIRECTORY completions/fish/ DESTINATION share/fish/vendor_completions.d)

# Ansible looks for collections there. Administrators put archives for other architectures into share/kvxprereq/archives.
install(DIRECTORY ansible/collections DESTINATION share/ansible PATTERN "__pycache__" EXCLUDE)
install(FILES package/archives.txt DESTINATION share/kvxprereq/archives RENAME README)

# The directory holds each catalog once, and a link to it for each locale.
install(DIRECTORY ${PROJECT_BINARY_DIR}/locale DESTINATION ${KVX_PRIVATE_DIR})

# The packages hold compressed manual pages with the version in the footer. gzip stores no name and no time.
file(GLOB KVX_PAGE_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/man/*.[1-9])
set(KVX_PAGES)
foreach(source ${KVX_PAGE_SOURCES})
    get_filename_component(page ${source} NAME)
    string(REGEX MATCH "[1-9]$" section ${page})
    set(compressed ${KVX_INSTALLED}/${page}.gz)
    add_custom_command(
        OUTPUT ${compressed}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${KVX_INSTALLED}
        COMMAND sed "s/^[.]Os$/& kvxprereqcheck ${PROJECT_VERSION}/" ${source} | gzip -9n > ${compressed}
        DEPENDS ${source} CMakeLists.txt
        COMMENT "Compressing ${page}"
        VERBATIM)
    list(APPEND KVX_PAGES ${compressed})
    install(FILES ${compressed} DESTINATION share/man/man${section})
endforeach()

# Copyright and changes, in the form that the distributions require.
set(KVX_TEXTS_OF_PACKAGE ${KVX_INSTALLED}/copyright ${KVX_INSTALLED}/changelog.gz)
add_custom_command(
    OUTPUT ${KVX_TEXTS_OF_PACKAGE} ${KVX_INSTALLED}/changelog.rpm
    COMMAND ${PROJECT_SOURCE_DIR}/package/package-texts ${PROJECT_VERSION} ${KVX_INSTALLED}
    DEPENDS package/package-texts package/maintainer package/licence CHANGES CMakeLists.txt
    COMMENT "Writing copyright and changes"
    VERBATIM)
install(FILES ${KVX_TEXTS_OF_PACKAGE} DESTINATION share/doc/kvxprereqcheck)

# The documents as web pages, where the machine can render them.
set(KVX_SITE)
find_program(KVX_PYTHON python3)
find_program(KVX_CMARK cmark-gfm)
find_program(KVX_MANDOC mandoc)
mark_as_advanced(KVX_PYTHON KVX_CMARK KVX_MANDOC)
if(KVX_PYTHON AND KVX_CMARK AND KVX_MANDOC)
    file(GLOB_RECURSE KVX_DOCUMENTS CONFIGURE_DEPENDS
        ${PROJECT_SOURCE_DIR}/docs/* ${PROJECT_SOURCE_DIR}/man/* ${PROJECT_SOURCE_DIR}/ansible/*/README.md)
    set(KVX_SITE ${KVX_INSTALLED}/html.stamp)
    add_custom_command(
        OUTPUT ${KVX_SITE}
        COMMAND ${CMAKE_COMMAND} -E remove_directory ${KVX_INSTALLED}/html
        COMMAND ${KVX_PYTHON} ${PROJECT_SOURCE_DIR}/scripts/make-site ${KVX_INSTALLED}/html
        COMMAND ${CMAKE_COMMAND} -E touch ${KVX_SITE}
        DEPENDS scripts/make-site README.md CONTRIBUTING.md CHANGES locale/README.md ${KVX_DOCUMENTS}
        COMMENT "Rendering the documents"
        VERBATIM)
    install(DIRECTORY ${KVX_INSTALLED}/html DESTINATION share/doc/kvxprereqcheck)
else()
    message(STATUS "The documents are not rendered as web pages: that needs python3, cmark-gfm and mandoc")
endif()

add_custom_target(installed ALL DEPENDS ${KVX_PAGES} ${KVX_TEXTS_OF_PACKAGE} ${KVX_SITE})
