# Run by cpack on what it is about to pack: the directories' modes do not depend on the umask of whoever packs.
cmake_minimum_required(VERSION 3.21)
file(CHMOD_RECURSE ${CPACK_TEMPORARY_DIRECTORY} DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
