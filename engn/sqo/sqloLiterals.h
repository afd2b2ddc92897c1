/*
 * The report's texts that come from no catalog: printed by the program, and read back by whoever reads a report. All
 * are printf formats; what stands for a directive was a value of the host or of the run.
 */
#ifndef SQLO_LITERALS_H
#define SQLO_LITERALS_H

/* The rule between the levels' parts of a report. */
constexpr char reportRule[] = "\n==========================================================================\n";

/* Whose prerequisites a verdict is on: the first token of MSG_LEVEL_FAILED. */
constexpr char clientWord[] = "Client";
constexpr char serverWord[] = "Server";

/* The account of an instance user. */
constexpr char userNotOpened[] = "ERROR: Failed to open the file %s to get the user data for UNIX Pseudo user - %s.";
constexpr char userNotFound[] = "ERROR: Failed to find the user entry for the user - %s.";
constexpr char groupNotOpened[] =
    "ERROR: Failed to open the file %s to get the user group data for UNIX Pseudo user - %s.";
constexpr char homeNotOpened[] = "ERROR: Failed to open user home directory - %s.";
constexpr char userChecks[] = "   Total number of required user checks: %d.";
constexpr char userNamePassed[] = "   User Name Length Check - Passed.";
constexpr char groupNamePassed[] = "   Primary Group Name Length Check - Passed.";
constexpr char groupPassed[] = "   Primary Group Name Check - Passed.";
constexpr char bashrcPassed[] = "   .bashrc Check - Passed.";
constexpr char suseProfilePassed[] = "   .profile Check - Passed.";
constexpr char profilePassed[] = "   .bash_profile Check - Passed.";
constexpr char sqllibPassed[] = "   sqllib Check - Passed.";
constexpr char sqllibSkipped[] = "   sqllib Check - Skipped.";
constexpr char userFailed[] = "   Details of the failed User checks:";
constexpr char userNameTooLong[] =
    "   ERROR: The user name \"%s\" is greater than 8 characters. Make sure the user name "
    "is not greater than 8 characters and rerun.";
constexpr char groupNameTooLong[] =
    "   ERROR: The Primary Group Name \"%s\" is greater than 8 characters. Make sure the "
    "group name is not greater than 8 characters and rerun.";
constexpr char groupNotAllowed[] =
    "   ERROR: KVX user \"%s\" cannot use \"%s\" as the primary group.\"%s\" must have a "
    "primary group other than \"guests\" \"admins\" \"users\" \"local\". ";
constexpr char bashrcMissing[] =
    "   ERROR: Missing .bashrc file in the user home directory %s. Make sure the .bashrc file "
    "exists in user home and rerun.";
constexpr char suseProfileMissing[] = "   ERROR: Missing .profile file in the user home directory %s. Make sure the "
                                      ".profile file exists in user home and rerun.";
constexpr char profileMissing[] = "   ERROR: Missing .bash_profile file in the user home directory %s. Make sure the "
                                  ".bash_profile file exists in user home and rerun.";
constexpr char sqllibExists[] =
    "   ERROR: The sqllib already exists in user home directory %s. Remove earlier installed "
    "KVX and make sure sqllib does not exist in home directory.";
constexpr char userPassed[] = "   SUCCESS: All required User checks passed for %s.";

/* Its ports: the kind of port, its number, the service. */
constexpr char portAvailable[] = "   The %s Number - %lld is available for %s to use.";
constexpr char portAssigned[] = "   The %s Number - %lld is assigned to %s KVX service";
constexpr char portNameTaken[] = "   ERROR: There already exists a service - %s assigned to %s %d";
constexpr char portInUse[] = "   ERROR: The %s Number - %lld is in use and assigned to %s service";

/* Packages of the high-speed network. */
constexpr char mellanoxMissing[] =
    "\n The kvxprereqcheck utility was unable to find the following Mellanox package: %s\n";
constexpr char networkingConflict[] =
    "\n The kvxprereqcheck utility detected HPN package along with Mellanox package. Both "
    "the packages cannot co_exist\n";

/* All that are lines of a check. */
constexpr const char *ppszLiterals[] = {
    userNotOpened,      userNotFound,   groupNotOpened,  homeNotOpened,      userChecks,      userNamePassed,
    groupNamePassed,    groupPassed,    bashrcPassed,    suseProfilePassed,  profilePassed,   sqllibPassed,
    sqllibSkipped,      userFailed,     userNameTooLong, groupNameTooLong,   groupNotAllowed, bashrcMissing,
    suseProfileMissing, profileMissing, sqllibExists,    userPassed,         portAvailable,   portAssigned,
    portNameTaken,      portInUse,      mellanoxMissing, networkingConflict,
};

#endif
