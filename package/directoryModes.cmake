# cpack runs this on the files that it will pack, so that the modes of directories do not depend on the user's umask.
cmake_minimum_required(VERSION 3.21)
file(CHMOD_RECURSE ${CPACK_TEMPORARY_DIRECTORY} DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
