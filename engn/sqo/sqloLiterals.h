/*
 * Texts of the report and of standard error that come from no catalog. The program prints them, and kvxprereqreport
 * recognizes lines by them. All except the single words are printf formats; their directives show values of the host or
 * of the run.
 */
#ifndef SQLO_LITERALS_H
#define SQLO_LITERALS_H

/* The rule that begins each pass in the report. */
constexpr char szReportRule[] = "\n==========================================================================\n";

/* The first token of MSG_LEVEL_FAILED and MSG_LEVEL_PASSED: whose prerequisites were checked. */
constexpr char szClientWord[] = "Client";
constexpr char szServerWord[] = "Server";

/* The account of an instance user. */
constexpr char szUserNotOpened[] = "ERROR: Failed to open the file %s to get the user data for UNIX Pseudo user - %s.";
constexpr char szUserNotFound[] = "ERROR: Failed to find the user entry for the user - %s.";
constexpr char szGroupNotOpened[] =
    "ERROR: Failed to open the file %s to get the user group data for UNIX Pseudo user - %s.";
constexpr char szHomeNotOpened[] = "ERROR: Failed to open user home directory - %s.";
constexpr char szUserChecks[] = "   Total number of required user checks: %d.";
constexpr char szUserNamePassed[] = "   User Name Length Check - Passed.";
constexpr char szGroupNamePassed[] = "   Primary Group Name Length Check - Passed.";
constexpr char szGroupPassed[] = "   Primary Group Name Check - Passed.";
constexpr char szBashrcPassed[] = "   .bashrc Check - Passed.";
constexpr char szSuseProfilePassed[] = "   .profile Check - Passed.";
constexpr char szProfilePassed[] = "   .bash_profile Check - Passed.";
constexpr char szSqllibPassed[] = "   sqllib Check - Passed.";
constexpr char szSqllibSkipped[] = "   sqllib Check - Skipped.";
constexpr char szUserFailed[] = "   Details of the failed User checks:";
constexpr char szUserNameTooLong[] =
    "   ERROR: The user name \"%s\" is greater than 8 characters. Make sure the user name "
    "is not greater than 8 characters and rerun.";
constexpr char szGroupNameTooLong[] =
    "   ERROR: The Primary Group Name \"%s\" is greater than 8 characters. Make sure the "
    "group name is not greater than 8 characters and rerun.";
constexpr char szGroupNotAllowed[] =
    "   ERROR: KVX user \"%s\" cannot use \"%s\" as the primary group.\"%s\" must have a "
    "primary group other than \"guests\" \"admins\" \"users\" \"local\". ";
constexpr char szBashrcMissing[] =
    "   ERROR: Missing .bashrc file in the user home directory %s. Make sure the .bashrc file "
    "exists in user home and rerun.";
constexpr char szSuseProfileMissing[] = "   ERROR: Missing .profile file in the user home directory %s. Make sure the "
                                        ".profile file exists in user home and rerun.";
constexpr char szProfileMissing[] = "   ERROR: Missing .bash_profile file in the user home directory %s. Make sure the "
                                    ".bash_profile file exists in user home and rerun.";
constexpr char szSqllibExists[] =
    "   ERROR: The sqllib already exists in user home directory %s. Remove earlier installed "
    "KVX and make sure sqllib does not exist in home directory.";
constexpr char szUserPassed[] = "   SUCCESS: All required User checks passed for %s.";

/* The ports of the instance. Their values: the kind of port, its number, the service. */
constexpr char szPortAvailable[] = "   The %s Number - %lld is available for %s to use.";
constexpr char szPortAssigned[] = "   The %s Number - %lld is assigned to %s KVX service";
constexpr char szPortNameTaken[] = "   ERROR: There already exists a service - %s assigned to %s %d";
constexpr char szPortInUse[] = "   ERROR: The %s Number - %lld is in use and assigned to %s service";
constexpr char szPortOutOfRange[] = "   ERROR: The %s Number - %lld is not between 1 and 65535";

/* Packages of the high-speed network. */
constexpr char szMellanoxMissing[] =
    "\n The kvxprereqcheck utility was unable to find the following Mellanox package: %s\n";
constexpr char szNetworkingConflict[] =
    "\n The kvxprereqcheck utility detected HPN package along with Mellanox package. Both "
    "the packages cannot co_exist\n";

/* Standard error: a command timed out, a file was not written, or a tool is missing. */
constexpr char szStoppedByLimit[] = "Ended, because it took more than %u seconds: %s\n";
constexpr char szCannotCreate[] = "Cannot create";
constexpr char szCannotWriteAll[] = "Cannot write all of";
constexpr char szFileError[] = "%s %s: %s\n"; // one of the two texts above, the path, the reason
constexpr char szTemporaryPathTooLong[] =
    "The path in KVXTMPDIR is too long: no command that writes a file there is run\n";
constexpr char szStringsUnknown[] = "ERROR: \n   Unable to determine if the 'strings' utility exists: %s\n";
constexpr char szStringsMissing[] = "ERROR: \n   The 'strings' utility that is used to detect prerequisite libraries\n"
                                    "   is not present on this system.  Please use your package or software\n"
                                    "   manager to install the GNU Binary Utilities.\n";

/* All of these texts that can be lines of a check's block. */
constexpr const char *ppszLiterals[] = {
    szUserNotOpened,    szUserNotFound,    szGroupNotOpened,  szHomeNotOpened,      szUserChecks,
    szUserNamePassed,   szGroupNamePassed, szGroupPassed,     szBashrcPassed,       szSuseProfilePassed,
    szProfilePassed,    szSqllibPassed,    szSqllibSkipped,   szUserFailed,         szUserNameTooLong,
    szGroupNameTooLong, szGroupNotAllowed, szBashrcMissing,   szSuseProfileMissing, szProfileMissing,
    szSqllibExists,     szUserPassed,      szPortAvailable,   szPortAssigned,       szPortNameTaken,
    szPortInUse,        szPortOutOfRange,  szMellanoxMissing, szNetworkingConflict,
};

#endif
