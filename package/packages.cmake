# The packages that cpack, or the target `package`, makes: an archive that can be unpacked anywhere, and a .deb and an .rpm if
# their tools are installed.
set(CPACK_GENERATOR TGZ)
find_program(KVX_DPKG_SHLIBDEPS dpkg-shlibdeps)
find_program(KVX_RPMBUILD rpmbuild)
mark_as_advanced(KVX_DPKG_SHLIBDEPS KVX_RPMBUILD)
if(KVX_DPKG_SHLIBDEPS)
    list(APPEND CPACK_GENERATOR DEB)
endif()
if(KVX_RPMBUILD)
    list(APPEND CPACK_GENERATOR RPM)
endif()

set(CPACK_PACKAGE_NAME kvxprereqcheck)
file(STRINGS ${PROJECT_SOURCE_DIR}/package/maintainer CPACK_PACKAGE_CONTACT LIMIT_COUNT 1)
file(STRINGS ${PROJECT_SOURCE_DIR}/package/licence KVX_LICENCE LIMIT_COUNT 1)
string(REGEX REPLACE " <.*" "" CPACK_PACKAGE_VENDOR ${CPACK_PACKAGE_CONTACT})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "check whether a host meets a database product's prerequisites")
set(CPACK_PACKAGE_DESCRIPTION
"The program is run as root before a database product is installed or updated.
It reads the product's prerequisites file, inspects the host (kernel,
distribution, libraries, packages, free space, users, ports), reports every
check for each product level, and ends with the status of the last failure.
It installs nothing and changes no setting of the host.")
set(CPACK_STRIP_FILES TRUE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/package/directoryModes.cmake)
set(CPACK_VERBATIM_VARIABLES TRUE)

# The archive and its top directory have one name, which must not hold the name of the program.
string(TOLOWER kvxprereq-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR} CPACK_PACKAGE_FILE_NAME)
set(CPACK_ARCHIVE_UID 0)
set(CPACK_ARCHIVE_GID 0)

# A package depends only on what the program is linked with: the program must run on a host that lacks tools and libraries, to
# report them. The .deb recommends the tools that the checks of every level call. A release names the oldest C library that it
# supports.
set(KVX_OLDEST_LIBC "" CACHE STRING "Lowest C library level that the .deb requires; determined automatically when empty")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz) # the catalogs are equal files
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
if(KVX_OLDEST_LIBC)
    set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= ${KVX_OLDEST_LIBC})")
else()
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "binutils, file")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "rpm, openssh-client, ansible-core, iputils-ping, bsdextrautils, dmidecode")

if(CMAKE_CROSSCOMPILING)
    set(CPACK_RPM_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
    string(REPLACE ppc64le ppc64el CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
endif()

set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_COMPRESSION_TYPE xz) # which the oldest rpm of a supported host reads
set(CPACK_RPM_PACKAGE_LICENSE ${KVX_LICENCE})
set(CPACK_RPM_PACKAGE_SUMMARY "Check whether a host meets a database product's prerequisites")
set(CPACK_RPM_PACKAGE_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}")
set(CPACK_RPM_USER_BINARY_SPECFILE ${PROJECT_SOURCE_DIR}/package/kvxprereqcheck.spec.in)
set(CPACK_RPM_CHANGELOG_FILE ${KVX_INSTALLED}/changelog.rpm)
# Every host has these directories, so the package does not own them. It does own the directories for completions, together
# with other packages, because a host may have none of the shells.
set(KVX_SHARED_DIRECTORIES share/doc share/man share/man/man1 share/man/man5)
list(TRANSFORM KVX_SHARED_DIRECTORIES PREPEND /usr/ OUTPUT_VARIABLE CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION)
list(JOIN KVX_SHARED_DIRECTORIES " " CPACK_KVX_SHARED_DIRECTORIES) # for kvxprereqcheck.spec.in

# rpmbuild reads the name of its directory as shell words and as macros.
if(PROJECT_BINARY_DIR MATCHES [=[[][ "'`$\\(){}<>|&;*?!#%]]=])
    add_custom_target(package
        COMMAND ${CMAKE_COMMAND} -E echo "No packages here: this directory has blanks or characters of the shell or rpm in its name."
        COMMAND ${CMAKE_COMMAND} -E false
        VERBATIM)
else()
    include(CPack)
endif()
