# What is installed: the program beside its texts, in a directory of its own, and in bin/ what starts it there. All
# places are fixed below the prefix, because the starter looks for the program relative to itself.
#
# 1.0.0 had the program and a directory for each locale in lib/kvxprereq. Neither dpkg nor rpm makes such a directory a
# link, so all of it lies one level deeper now.
set(KVX_PRIVATE_DIR lib/kvxprereq/checker)
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS # whatever the umask: who can write there can exchange the program
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(KVX_INSTALLED ${PROJECT_BINARY_DIR}/installed) # what installing needs and running from the build tree does not

install(TARGETS kvxprereqcheck RUNTIME DESTINATION ${KVX_PRIVATE_DIR})
install(PROGRAMS package/kvxprereqcheck DESTINATION bin)
install(FILES samples/KVXprereqs.xml CHANGES DESTINATION share/doc/kvxprereqcheck)
install(DIRECTORY docs/examples DESTINATION share/doc/kvxprereqcheck USE_SOURCE_PERMISSIONS)
file(GLOB KVX_COMPLETIONS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/completions/kvxprereqcheck)
install(FILES ${KVX_COMPLETIONS} DESTINATION share/bash-completion/completions)
# One file for all programs. zsh finds it in another directory on Debian; fish looks for one of each program's name.
install(DIRECTORY completions/zsh/ DESTINATION share/zsh/site-functions)
file(MAKE_DIRECTORY ${KVX_INSTALLED})
file(CREATE_LINK ../site-functions/_kvxprereqcheck ${KVX_INSTALLED}/_kvxprereqcheck SYMBOLIC)
install(FILES ${KVX_INSTALLED}/_kvxprereqcheck DESTINATION share/zsh/vendor-completions)
install(DIRECTORY completions/fish/ DESTINATION share/fish/vendor_completions.d)

# Ansible looks for collections there. The archives of other architectures are laid beside it by whoever needs them.
install(DIRECTORY ansible/collections DESTINATION share/ansible PATTERN "__pycache__" EXCLUDE)
install(FILES package/archives.txt DESTINATION share/kvxprereq/archives RENAME README)

# Each catalog once, and a link to it for each locale.
install(DIRECTORY ${PROJECT_BINARY_DIR}/locale DESTINATION ${KVX_PRIVATE_DIR})

# Packages hold their manual pages compressed, without name and time in them, with the version in the footer.
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

# Copyright and changes, as the distributions want them.
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
