/*
 * kvxprereqcheck: does this host meet the prerequisites of a product level?
 *
 * The one public header: types, tables, run settings, message numbers, statuses, and every operation with its contract,
 * in one section for each subsystem. The program has one thread, runs once and exits; all state is global and lives
 * until the exit.
 *
 * Conventions: unless a comment says otherwise, an operation returns 0 for success, arguments are NUL-terminated texts,
 * and they are not changed. "Reports" is followed by the messages that an operation may write. A "field" is a character
 * array of a record that a long text may fill to its last byte, without a terminator: read at most its size. "No
 * caller" marks an operation that no part of this program calls.
 */
#ifndef SQLO_PREREQ_CHECK_H
#define SQLO_PREREQ_CHECK_H

#include <stdio.h>
#include <sys/utsname.h>

/* ---------------------------------------------------------------------------------------------------------------
 * Statuses and message numbers
 * ------------------------------------------------------------------------------------------------------------- */

/* What operations return. The exit status of the program is the last one that is not RC_OK; RC_FAILED becomes 255. */
enum Status {
    RC_FAILED = -1,            // a check failed
    RC_OK = 0,                 // met, or done
    RC_OS_LEVEL = 1,           // OS level below the minimum or unreadable; host unfit for the clustered feature
    RC_SOFTWARE = 3,           // a software prerequisite failed
    RC_COMMAND_LINE = 6,       // bad command line
    RC_VERSION = 7,            // product level unknown or unfit for this host; network type
    RC_INPUT = 8,              // prerequisites file not readable or without a level; host not supported
    RC_REPORT_OPTION = 9,      // "-o" or "-gui" without a usable value
    RC_NO_MEMORY = 10,         // memory exhausted
    RC_SG_PACKAGE = 11,        // SCSI generic utilities package
    RC_IB_PACKAGE = 12,        // InfiniBand support package
    RC_HPN_PACKAGE = 13,       // high-performance networking package
    RC_RDMA_PACKAGE = 14,      // RDMA InfiniBand package
    RC_CATALOG_UNOPENED = 21,  // message catalog cannot be opened
    RC_MESSAGE_MISSING = 22,   // message not in the catalog
    RC_MESSAGE_TRUNCATED = 23, // message cut to fit its buffer
};

/* The messages of the catalog, with their tokens in push order; not every caller gives the tokens in brackets. The
 * catalog repeats the name and the tokens above each text. */
enum MessageNumber {
    MSG_SEVERITY_WARNING = 30017,           // none; a token of MSG_CHECK_FAILED
    MSG_SEVERITY_ERROR = 30018,             // none; a token of MSG_CHECK_FAILED
    MSG_STATE_ENABLED = 30019,              // none; a token of MSG_SELINUX_STATE
    MSG_STATE_DISABLED = 30020,             // none; a token of MSG_SELINUX_STATE
    MSG_TITLE_OS_LEVEL = 30021,             // none; a token of MSG_CHECK_HEADING
    MSG_TITLE_DISTRIBUTION = 30022,         // none; a token of MSG_CHECK_HEADING
    MSG_TITLE_LIBSTDCXX = 30023,            // none; a token of MSG_CHECK_HEADING
    MSG_TITLE_GLIBC = 30025,                // none; a token of MSG_CHECK_HEADING
    MSG_TITLE_LIBAIO = 30026,               // none; a token of MSG_CHECK_HEADING
    MSG_TITLE_SELINUX = 30040,              // none; a token of MSG_CHECK_HEADING
    MSG_LEVEL_BANNER = 30041,               // product level, "Linux"
    MSG_KERNEL_REQUIRED = 30046,            // version, release, minor release
    MSG_KERNEL_FOUND = 30047,               // version, release, minor release
    MSG_DISTRIBUTION_REQUIRED = 30050,      // distribution, version[, service pack]
    MSG_DISTRIBUTION_FOUND = 30051,         // [version[, service pack, may end in a newline]]
    MSG_REQUIRED_WITH_RELEASE = 30052,      // package or file, version[, release]
    MSG_CHECK_HEADING = 30053,              // title
    MSG_CHECK_PASSED = 30054,               // none
    MSG_CHECK_FAILED = 30055,               // severity word (MSG_SEVERITY_ERROR, _WARNING) or empty, reason or empty
    MSG_PACKAGE_FOUND_RELEASE = 30056,      // version, release
    MSG_VERSION_FOUND = 30057,              // version
    MSG_LIBSTDCXX_LOCATED = 30058,          // library path
    MSG_LIBSTDCXX_REQUIRED = 30059,         // library name or empty, symbol version, library name
    MSG_LIBSTDCXX_FOUND = 30060,            // C++ ABI version, may be empty
    MSG_SYMBOL_NOT_GIVEN = 30061,           // none; a token of MSG_LIBSTDCXX_REQUIRED
    MSG_SYMBOL_HIGHEST = 30062,             // required symbol version, library name, highest symbol version
    MSG_SYMBOL_NONE = 30063,                // required symbol version, library name, prefix
    MSG_GLIBC_LOCATED = 30064,              // library path
    MSG_GLIBC_REQUIRED = 30065,             // version, major release, minor release
    MSG_GLIBC_FOUND = 30066,                // version, major release, minor release
    MSG_SYMBOL_UNKNOWN = 30067,             // required symbol version, library name
    MSG_UMASK_TOO_HIGH = 30068,             // umask, highest umask; a token of MSG_CHECK_FAILED
    MSG_FAILURES_FOLLOW = 30082,            // [product level]
    MSG_PACKAGE_FOUND = 30085,              // file or package
    MSG_REQUIREMENT_NOT_MET = 30095,        // package or empty, what is not met
    MSG_UBUNTU_FOUND = 30096,               // release
    MSG_UBUNTU_REQUIRED = 30097,            // "UBUNTU"[, version]
    MSG_SELINUX_STATE = 30098,              // state word (MSG_STATE_ENABLED or MSG_STATE_DISABLED)
    MSG_USAGE_FIRST = 30099,                // none; displayHelp has the order of the usage texts
    MSG_USAGE_ARGUMENTS = 30100,            // none
    MSG_USAGE_SELECTION = 30101,            // none
    MSG_USAGE_CLUSTERED = 30102,            // none
    MSG_USAGE_FILES_GIVEN = 30103,          // none
    MSG_USAGE_OUTPUT = 30104,               // none
    MSG_USAGE_INSTANCE = 30105,             // none
    MSG_USAGE_INSTANCE_USER = 30106,        // none
    MSG_USAGE_INSTANCE_PORTS = 30107,       // none
    MSG_USAGE_GENERAL = 30108,              // none
    MSG_USAGE_FILES = 30109,                // none
    MSG_USAGE_LAST = 30110,                 // none
    MSG_SERVICE_INSTALLED = 30125,          // service, host
    MSG_SERVICE_ENABLED = 30127,            // service, host
    MSG_SSH_REACHABLE = 30128,              // this host, remote host
    MSG_DISK_FOUND = 30131,                 // disk, "ID/PVID", host
    MSG_FREE_SPACE_MET = 30132,             // directory, host
    MSG_PING_ANSWERED = 30133,              // network name, host
    MSG_REMOTE_RUN_HEADING = 30136,         // remote host
    MSG_LEVEL_FAILED = 30137,               // "Client" or "Server", label (MSG_CLUSTERED_LABEL) or empty, product level
    MSG_LEVEL_BANNER_CLUSTERED = 30150,     // product level, "Linux"
    MSG_USAGE_ENVIRONMENT = 30151,          // none
    MSG_USAGE_EXIT_STATUS = 30152,          // none
    MSG_ADAPTER_INFINIBAND = 30155,         // network name, host
    MSG_ADAPTER_10GE = 30156,               // network name, host
    MSG_ADAPTER_OTHER = 30159,              // network name, host
    MSG_REQUIRED_VERSION = 30160,           // package or file, version
    MSG_CLUSTERED_LABEL = 30161,            // none; a token of MSG_LEVEL_FAILED and MSG_LEVEL_PASSED
    MSG_UDAPL_TEST_STARTED = 30180,         // adapter list file
    MSG_KERNEL_DEVEL_MATCHED = 30184,       // kernel package line, running kernel release
    MSG_TITLE_LIBNUMA = 30186,              // none; a token of MSG_CHECK_HEADING
    MSG_TIME_SERVICE_MISSING = 30187,       // none
    MSG_FILE_NOT_OPENED = 33501,            // path
    MSG_BAD_OPTION = 33503,                 // argument
    MSG_OS_LEVEL_UNREADABLE = 33504,        // none
    MSG_DISTRIBUTION_UNSUPPORTED = 33505,   // none
    MSG_QUERY_KILLED = 33506,               // none
    MSG_PACKAGE_NOT_INSTALLED = 33507,      // package or file
    MSG_VERSION_UNREADABLE = 33508,         // none
    MSG_VERSION_SOURCE = 33509,             // path, or package name with its newline
    MSG_LIBRARY_NOT_LOADED = 33510,         // [library name]
    MSG_MAPS_NOT_OPENED = 33511,            // path
    MSG_STRINGS_FAILED = 33512,             // none
    MSG_LIBPAM_32BIT_MISSING = 33514,       // library pattern
    MSG_GLIBC_MAPS_NOT_OPENED = 33515,      // none
    MSG_COMMAND_KILLED = 33516,             // command
    MSG_LIBAIO_MISSING = 33520,             // none
    MSG_NO_LEVEL_IN_FILE = 33525,           // path
    MSG_OUTPUT_FILE_VALUE = 33526,          // none
    MSG_LEVEL_NOT_IN_FILE = 33527,          // [argument]
    MSG_INPUT_FILE_VALUE = 33528,           // none
    MSG_OPTIONS_EXCLUSIVE = 33529,          // pair of options, option, option
    MSG_NO_LATEST_LEVEL = 33530,            // none
    MSG_REPORT_NOT_WRITABLE = 33531,        // report or GUI report path
    MSG_LEVEL_PASSED = 33533,               // "Client" or "Server", label (MSG_CLUSTERED_LABEL) or empty, product level
    MSG_IB_SUPPORT_MISSING = 33535,         // package with its suffix
    MSG_HPN_MISSING = 33536,                // package with its suffix
    MSG_RDMA_IB_MISSING = 33537,            // package with its suffix
    MSG_NETWORK_TYPE_INVALID = 33538,       // none
    MSG_NETWORK_TYPE_NOT_CLUSTERED = 33539, // none
    MSG_PREREQUISITE_OPTION = 33541,        // none
    MSG_ETC_HOSTS_NOT_OPENED = 33542,       // "1"
    MSG_KERNEL_LEVEL_MALFORMED = 33544,     // none
    MSG_UMASK_UNREADABLE = 33545,           // none
    MSG_CAPTURE_NOT_READABLE = 33546,       // [file or directory, may be empty]
    MSG_COMMAND_NOT_RUN = 33547,            // package or file, may be empty
    MSG_GLIBC_STRINGS_FAILED = 33548,       // none
    MSG_LOADER_ERROR = 33552,               // dynamic loader's text
    MSG_LIBAIO_LOADED = 33553,              // none
    MSG_LEVEL_UNSUPPORTED = 33555,          // product level
    MSG_PREPARE_FAILED = 33556,             // none
    MSG_CLUSTERED_UNSUPPORTED = 33557,      // none
    MSG_CLIENT_REPEATED = 33558,            // none
    MSG_SELINUX_UNREADABLE = 33562,         // none
    MSG_SELINUX_ENABLED = 33563,            // none
    MSG_SERVICE_NOT_INSTALLED = 33564,      // service, host
    MSG_SERVICE_NOT_ENABLED = 33566,        // service, host
    MSG_SSH_UNREACHABLE = 33567,            // this host, remote host
    MSG_DISK_NOT_FOUND = 33570,             // disk, "ID/PVID", host[, disk]
    MSG_FREE_SPACE_SHORT = 33571,           // directory, host, required KB, available KB
    MSG_PING_UNANSWERED = 33572,            // network name, host
    MSG_ETC_HOSTS_ENTRY_MISSING = 33574,    // host or network name, host
    MSG_ETC_HOSTS_DUPLICATE = 33575,        // host, address or name
    MSG_DAT_CONF_DUPLICATE = 33579,         // host
    MSG_DAT_CONF_MISSING = 33580,           // host
    MSG_USER_MISSING = 33581,               // user, host
    MSG_USER_ID_MISMATCH = 33584,           // user, host
    MSG_SSH_PLACING_FAILED = 33587,         // remote host
    MSG_MODPROBE_OPTION_MISSING = 33588,    // host, reason: "1" file missing, "2" option line missing
    MSG_ETC_HOSTS_LOOPBACK = 33592,         // host
    MSG_MODPROBE_OPTION_WRONG = 33593,      // host
    MSG_FREE_SPACE_LOW = 33594,             // directory, host, required KB, available KB
    MSG_DISTRIBUTION_MISMATCH = 33596,      // given distribution, detected distribution, host
    MSG_ADAPTER_NOT_CLUSTER_READY = 33598,  // network name, host
    MSG_ADAPTER_UNDEFINED = 33599,          // network name, host
    MSG_ADAPTER_PROBE_FAILED = 33600,       // network name, host
    MSG_RUNTIME_CHECK_FAILED = 33601,       // "libstdc++", host
    MSG_UDAPL_TEST_FAILED = 33607,          // log path
    MSG_KERNEL_DEVEL_UNMATCHED = 33608,     // running kernel release
    MSG_LIBNUMA_MISSING = 33609,            // none
    MSG_LIBNUMA_LOADED = 33610,             // none
    MSG_VEX_SCRIPT_FAILED = 33612,          // none
    MSG_VEX_SCRIPT_MISSING = 33613,         // none
};

/* The size of an ordinary message buffer. A fetch fills at most one byte less. */
const int MESSAGE_SIZE = 256;
/* The room that the buffer of a report line has after the message: for the newline of logMessage, and one more byte. */
const int LOG_ROOM = 2;
typedef char messageText[MESSAGE_SIZE + LOG_ROOM];

/* ---------------------------------------------------------------------------------------------------------------
 * Run settings (sqloSettings.cpp). Flags are 0 or 1. All settings start as 0 or empty, and do not change after the
 * command line has been read, unless a comment says otherwise.
 * ------------------------------------------------------------------------------------------------------------- */

/* Set by options. */
extern int bClient;               // -c: client-only prerequisites
extern int debug;                 // -d: trace on standard output
extern int strictFlag;            // -strict: too little space in the temporary directory is an error
extern int vastdw;                // -vastdw: also check the instance
extern int usname;                // -usrname was given
extern char uname1[255];          //   the instance user's name
extern int sqllib;                // -sqllib: the user's home must not hold "sqllib"
extern int isPort;                // -service was given
extern int servicePort;           //   the service port's number
extern int isfcmstart;            // -fcmstartport was given
extern int fcmstart;              //   the first FCM port
extern int partitions;            // -partitions, default 1
extern int issvcnm;               // -svcename was given
extern char svcnm[255];           //   the service name
extern int bCustomInputFile;      // -f was given
extern char szInputXMLFile[256];  //   path of the prerequisites file; without -f, main finds it
extern int bCustomReportFile;     // -o was given: the report goes to szReportFile
extern char szReportFile[256];    //   path of the report file; without -o a name to which nothing is written
extern int bGUIReportFile;        // -gui was given
extern char szGUIReportFile[256]; //   path of the GUI report file
extern int bCheckLatestRelease;   // -l: only the newest level
extern int bNonShareGrid;         // -i: no clustered pass
extern int bPrintSummary;         // -s: summary at the end, no report on standard output
extern int bCheckSpecificRelease; // -v was given
extern char szInputVersion[30];   //   the level; with -l, the newest level
extern int bCheckForAllKVXVesion; // started without any argument; nothing reads it

/* Set by the program itself. */
extern int bShareGrid;                // 1 during a clustered pass
extern int bOrigShareGrid;            // the value of bShareGrid before the clustered pass
extern int bPCSupportedPlatform;      // 1 until the host is found unfit for the clustered feature
extern int bnoStdRtk;                 // the C++ runtime check failed
extern int bOutputClosed;             // standard output was closed when the program started
extern int bNonIB;                    // the last adapter probe answered that the network is not InfiniBand
extern int bEtchostError;             // /etc/hosts was found inconsistent
extern char szPlatform[30];           // "Linux" after sqloPreparePrereqCheck
extern char szProcessor[30];          // never filled
extern char szNetworkType[256];       // network type; needs bCustomNetworkType
extern char szNetname[256];           // network name for the adapter probe
extern char szinstPathName[257];      // the instance's sqllib/cfg directory with a trailing "/", or empty
extern char szPrereqCatFilePath[256]; // the instance's "sqllib" directory, which may hold message catalogs
extern char szRuntimePath[1025];      // directory of the program
extern char IIHName[255];             // this host's name
extern char addCmd[255];              // arguments of a remote run
extern char addFiles[255];            // list files that a remote run needs
extern char tbDiskName[255];          // tiebreaker disk

/* Tested, but set by no option and no statement: code that needs them is dormant. */
extern int bHostList;                // host list given: run on every host
extern int bHostName;                // a single host name given
extern int bDiskList, bDiskName;     // shared-disk list given
extern int bInstList, bInstName;     // instance-user list given
extern int bNetList, bNetName;       // network-name list given
extern int bTbDiskName;              // tiebreaker disk named
extern int bUDAPL;                   // uDAPL-only mode
extern int bMHCA;                    // multiple host channel adapters
extern int bCustomNetworkType;       // szNetworkType holds a network type
extern int bAdapterListFile;         // adapter list read from a file
extern int bOSSH;                    // use the operating system's own remote shell
extern int bInputInstanceHome;       // szInputHome was given
extern char szInputHome[256];        // home directory of the new instance
extern int bInputInstallPath;        // szInputInstallPath was given
extern char szInputInstallPath[256]; // directory to install into
extern char szInputDistro[256];      // distribution name given to the run

/* The host's distribution, set by sqloGetLinuxDistributions. */
enum LinuxDistribution {
    DISTRO_UNKNOWN = 0,
    DISTRO_RHEL = 1,
    DISTRO_SUSE = 2,
    DISTRO_UBUNTU = 3,
    DISTRO_INSPUR = 4,
    DISTRO_CENTOS = 5,
    DISTRO_COUNT = 6,
};

extern int linuxDistro; // a LinuxDistribution
extern const char *const ppszDistroName[DISTRO_COUNT];

/* ---------------------------------------------------------------------------------------------------------------
 * Small helpers (sqloText.cpp; sqloFileExists in sqloCommand.cpp)
 * ------------------------------------------------------------------------------------------------------------- */

/* Appends as much of src as fits to str, in a buffer of size bytes (not negative), and terminates it. A str that
 * already fills the buffer stays as it is. Returns str. */
char *safeStrNCat(char *str, const char *src, int size);

/* Copies as much of source as fits into destination, a buffer of size bytes (at least 1), and terminates it. Returns
 * destination. */
char *iStrncpy(char *destination, const char *source, int size);

/* 1 when the path names a regular file, else 0. Ignores one double quote at the start and one at the end. */
int sqloFileExists(const char *pPath);

/* ---------------------------------------------------------------------------------------------------------------
 * Run control (sqloPrereqCheck.cpp)
 * ------------------------------------------------------------------------------------------------------------- */

/* Prints the usage texts to standard output. */
void displayHelp(void);

/* Sets szRuntimePath from the path that the program was started by. It takes the part before the first
 * "kvxprereqcheck", without the "/" between. It takes the current directory when the path is a bare name of the
 * program, begins with the name, or does not hold it. When the system does not tell the current directory,
 * szRuntimePath does not change. */
void sqloSetRuntimeLocation(const char *pPath);

/* Copies szRuntimePath into pRuntimePath, which must have room for it (at most 1025 bytes), and returns pRuntimePath.
 * For null, returns a static buffer with its first 256 characters. No caller. */
char *sqloGetRuntimeLocation(char *pRuntimePath);

/* Prepares for a level: clears the values from FIRST_LEVEL_SLOT on, and sets szPlatform. The tags below keep their
 * values: those of the host and of the adapters. Returns 0. */
int sqloPreparePrereqCheck(void);

/* Makes the checks that only the clustered feature needs and that the settings ask for. Returns RC_OK, or for the last
 * failure RC_SOFTWARE, RC_IB_PACKAGE, RC_HPN_PACKAGE, RC_RDMA_PACKAGE or RC_FAILED. Failures of these checks are
 * reported but do not change the status: shells, time service, module options, shared and tiebreaker disks, ping, and
 * free space in the instance home, in the install path and, without strictFlag, in the temporary directory. */
int sqloCheckPrereqShareGrid(void);

/* Makes one pass: reads the level, makes its checks in order, and writes the verdict. Returns RC_OK or the status of
 * the last check that failed. A failure of sqloCheckPrereqShareGrid, or of reading the level, ends the pass. For null,
 * and for a client in a clustered pass, it does nothing and returns RC_OK. */
int sqloCheckPrereqForVersion(const char *pLevel);

/* ---------------------------------------------------------------------------------------------------------------
 * Prerequisite definitions (sqloPrereqDefs.cpp)
 * ------------------------------------------------------------------------------------------------------------- */

/* Every tag of the prerequisites file. The members at 76 to 78 are in another order than their names in ppszTagName, so
 * an element is stored at the index of its name, but code reads the index of the member. */
// clang-format off
enum Tag {
    /*   0 */ KVXLevel, platform, OSVersion, OSRelease, OSMinorRelease, Processor, LinuxDistro, RHELVersion, RHELSP,
    /*   9 */ SLES, SLESVersion, SLESSP, UBUNTUVersion, IAVersion, IASP, CNTVersion, CNTSP, MHCA, HCANetwork, RHEL,
    /*  20 */ MinOSVersion, MinOSRelease, MinOSMinorRelease, MinRHELVersion, MinRHELSP, RHELRelease,
    /*  26 */ RHELReleasePackage, RHELReleaseVersion, MinSLESVersion, MinSLESSP, SLESRelease, SLESReleasePackage,
    /*  32 */ SLESReleaseVersion, MinUBUNTUVersion, MinIAVersion, MinIASP, MinCNTVersion, MinCNTSP, rtkPackageName,
    /*  39 */ rtkPackage, rtkLabel, rtkVersion, rtkLibName, rtkMajorRelease, rtkMinorRelease, rtkMinorRelease2,
    /*  46 */ CPPVersion, DatConfLib, CPPVersionString, CPPLibName, LibCVersion, LibCMajorRelease, LibCMinorRelease,
    /*  53 */ shareGrid, uDAPLLabel, uDAPLPackage, uDAPLVersion, uDAPLMajorRel, uDAPLMinorRel2, uDAPLMinorRel, uDAPL,
    /*  61 */ ntpPackage, ntpVersion, ntp, chronyPackage, chronyVersion, chrony, kshPackage, kshVersion, kshRelease,
    /*  70 */ ksh, mkshPackage, mkshVersion, filePackage, libgompPackage, makePackage, perlPackage, patchPackage,
    /*  78 */ libgccPackage, kolt, UMASK, VEXHACPPName, ofedPackage, ofedVersion, libIBIBVERBSPackage,
    /*  85 */ libIBVERBSVersion, gccPackage, binUtilsPackage, python2Package, perlNetPingPackage, cppPackage,
    /*  91 */ gccCPPPackage, kernelSourcePackage, kernelDevelPackage, sg3UtilsPackage, sg3UtilsPackageName,
    /*  96 */ sgPersistPackage, sgPersistPackageName, netToolsPackage, m4Package, CommonInfinibandSupportPackage,
    /* 101 */ HighPerformancePackage, InfinibandSupportPackage, libIBConnectionMgr, libRDMAConnectionMgr,
    /* 105 */ libRDMAModuleInitializer, libIBFabricSimulator, libIBDiagnosticTools, libChelsioHCAUsrspace,
    /* 109 */ libOpenFabricsMAD, libOpenFabricsUsrMAD, libQLogicInfiniPathHCA, libIBHCAUserspace,
    /* 113 */ libNetEffectRNICUserspace, libUsrSpaceRDMA, libConnectXHCAUsrSpace, DDRIBFirmware, QDRIBFirmware,
    /* 118 */ QDRIBDeviceID, MinQDRIBROM, RoceCX340GDeviceID, RoceCX310GDeviceID, RoceCX4100GDeviceID,
    /* 123 */ RoceCX410GDeviceID, MinRoceCX340GROM, MinRoceCX310GROM, MinRoceCX4100GROM, MinRoceCX410GROM,
    /* 128 */ RoceCX2Firmware, RoceCX2FlexDeviceID, RoceCX2DeviceID, MinRoceCX2FlexROM, MinRoceCX2ROM, LastTag
};
// clang-format on

const int PREREQ_SLOTS = 150;
const int FIRST_LEVEL_SLOT = MinOSVersion; // values from here on belong to one level, and are cleared before the next
const int TAG_NAME_LENGTH = 30;            // the longest tag name

/* The name of each tag; null after LastTag. */
extern const char *const ppszTagName[PREREQ_SLOTS];
/* The value of each tag, or null when it has none. Heap texts; a replaced one is not released. */
extern char *ppszPREREQ[PREREQ_SLOTS];

/* A skipped section of the file. */
struct node {
    int xmlNode; // the tag that began it
    node *next;  // the node below it on the stack
};

extern node *pStackTop; // the skipped section; one that was never closed stays until the next one is pushed
extern char szXMLTagName[TAG_NAME_LENGTH + 1]; // the name of the element that was read last

/* The tag with exactly this name; -1 for null, for an unknown name and for that of the sentinel. */
int sqloGetTagIndex(const char *pName);

const int PREREQ_LINE_SIZE = 256; // room for one line; the rest of a longer line is read as a line of its own

/* Where the reader of a level is in the file. */
enum ReaderPlace {
    PLACE_FILE = 0,    // before the section of the level
    PLACE_LEVEL = 1,   // after the line of the level, before a platform section
    PLACE_SECTION = 2, // in the platform section
    PLACE_BEHIND = 3,  // after the platform section: no further line counts
};

/* The effect of a line. */
enum LineEffect {
    LINE_OUTSIDE,      // it is outside the platform section, or begins or ends it
    LINE_UNKNOWN,      // it names no tag
    LINE_IGNORED,      // it names a tag, but holds no whole element and opens no section with a condition
    LINE_VALUE,        // it holds an element, whose text was stored
    LINE_EMPTY,        // its element is empty, or its closing tag comes before the opening tag
    LINE_SECTION_READ, // it opens a section whose condition holds
    LINE_SKIP_BEGINS,  // it opens a section that is skipped; shareGrid does so even in a skipped section
    LINE_SKIPPED,      // it is in a skipped section
    LINE_SKIP_ENDS,    // it closes a skipped section
};

/* The state of the reader of one level between two lines. */
struct prereqReader {
    int place;            // a ReaderPlace
    char szNextStart[30]; // the text in the line that leads to the next place
    int bSkipping;        // 1 in a skipped section
    int effect;           // the LineEffect of the last line
    int tag;              // the tag that the last line names, or -1
};

/* Places a reader before the first line of the file. */
void sqloBeginPrereqLines(prereqReader *pReader, const char *pLevel);

/* Takes the next line, which has no newline and at most PREREQ_LINE_SIZE - 1 characters: stores its value, or decides
 * whether the section that it opens is skipped. Returns RC_OK or RC_NO_MEMORY. */
int sqloTakePrereqLine(prereqReader *pReader, const char *pLine);

/* Writes the start of the pass to the report, and fills ppszPREREQ with the values that szInputXMLFile states for the
 * level on Linux. Before it opens the file it sets szPlatform and the tags KVXLevel, platform, Processor and, when it
 * is known, LinuxDistro. Returns RC_OK, also when the file does not hold the level; RC_INPUT; RC_NO_MEMORY. */
int sqloReadPrereqFromXML(const char *pLevel);

/* Puts a tag on the stack of skipped sections. Returns RC_OK, RC_NO_MEMORY, or -1 for the tag -1 (not pushed). */
int sqloPushToSkipNodeStack(int xmlTagNum);

/* Releases the top node and empties the stack: skipped sections do not nest, so nodes below are never used again.
 * Returns 0. */
int sqloPopSkipNodeStack(void);

/* Evaluates the condition between the first two double quotes of a line: triples of operand, operator and value, which
 * must all hold. Returns 1 when it fails, so that the section is skipped; 0 when it holds. A line without quotes gives
 * 1; one quote, no whole triple, or no memory gives 0. xmlTagIndex is a valid tag, that of the line, for the trace. */
int sqloProcessConditionStmt(const char *szline, int xmlTagIndex);

/* Evaluates one triple. Returns 1 when it fails or the operand is not a tag. Returns 0 when it holds, and also when an
 * argument is null, the operand has no value, the operator is unknown (known are < > >= =), or a value to be compared
 * by < > >= is not a number. */
int sqloEvaluateCondition(const char *pOperand, const char *pOperator, const char *pValue);

/* 1 when every character is a decimal digit, also for the empty text; else 0. */
int sqloCheckIsNumber(const char *pVar);

/* What sqloCompareVersionStrings returns. */
enum VersionOrder {
    VERSION_HIGHER = 0,     // the found version is higher, or the required text is not a version
    VERSION_EQUAL = 1,      // all compared fields are equal
    VERSION_LOWER = 2,      // the found version is lower
    VERSION_UNREADABLE = 3, // the found text is not a version
};

/* Compares dotted versions field by field, by the number at the start of each field; at most eleven fields and 255
 * characters. A field that is missing or does not begin with a digit is lower than any number, so 1.2 is lower
 * than 1.2.0. A text is a version when it begins with a digit; null is none. When neither text is a version, the result
 * is VERSION_HIGHER. */
int sqloCompareVersionStrings(const char *minVerString, const char *curVerString);

/* One level of the prerequisites file. */
struct versionList {
    char szVersion[10]; // field: the level, or the first ten characters of a longer one
    versionList *next;  // the next older or equal level
};

/* The levels, the newest first. Equal levels all stay, in the order of the file. */
extern versionList *preqVersionList;

/* RC_OK when szInputXMLFile can be opened for reading and is a regular file or a block device, which can be read again
 * for each level; else RC_INPUT. The file stays open until the exit. */
int sqloValidateInputXML(void);

/* Builds preqVersionList from the "<KVXLevel" lines of szInputXMLFile; the level is the first quoted text of the line.
 * A level that is too long for its field is left out, and standard error says so. Returns RC_OK; RC_INPUT when the file
 * cannot be read or holds no level; RC_NO_MEMORY. */
int sqloRetrieveSupportedVersion(void);

/* Inserts a level after all that are higher or equal. Returns RC_OK, RC_FAILED for null, or RC_NO_MEMORY. */
int sqloUpdatePreqVersionList(const char *pVer);

/* Copies the newest level into szInputVersion. Returns RC_OK, or RC_INPUT when the list is empty. */
int sqloGetLatestRelease(void);

/* RC_OK when szInputVersion is exactly one of the levels, else RC_VERSION. */
int validateInputVersion(void);

/* ---------------------------------------------------------------------------------------------------------------
 * Messages and locale (sqloMessages.cpp, rows in sqloLocaleTable.cpp)
 * ------------------------------------------------------------------------------------------------------------- */

const int MAX_TOKENS = 10;
extern char *ppszTokens[MAX_TOKENS]; // texts for %1, %2, ... of the next message, in push order
extern int totalTokens;

extern char szLocale[256]; // the run's locale name

/* One known locale name. This program uses only name and map. */
struct prereqlmap {
    const char *name;     // the locale name, with the code set in upper case without punctuation
    const char *map;      // the catalog directory
    unsigned int cs;      // code-set class, 1 to 3
    const char *encode;   // the encoding's name
    unsigned int acp;     // the matching code-page number
    const char *shortmap; // language and territory of the catalog directory
};
typedef prereqlmap prereqlmap_t;

const int PREQ_NUM_LANGINSTALL = 814;
extern const prereqlmap_t prereqLocmap[PREQ_NUM_LANGINSTALL];
extern const unsigned char sqlocmap2[256]; // maps a to z to A to Z, and every other character to itself

/* Pushes a text as the next token of the next message. Null is ignored, so later tokens get lower numbers. Push at most
 * MAX_TOKENS before a fetch. */
void addToken(const char *pToken);
/* Pushes a number. No caller. */
void addNumToken(int number);
/* The token at a zero-based index, or the empty text. */
const char *getTokenAt(int index);
/* Forgets all tokens. */
void sqloCleanUpTokenArray(void);

/* Fetches a message into buffer (size bytes, always terminated), replaces its placeholders by the tokens, and empties
 * the token list. When the tokens do not fit, or the message asks for token 0, it keeps its placeholders. Without a
 * catalog or a message the buffer gets a text that says so. Returns buffer. */
char *sqloGetString(int number, char *buffer, int size);

/* Fetches a message with its placeholders. Returns RC_OK, RC_CATALOG_UNOPENED, RC_MESSAGE_MISSING or
 * RC_MESSAGE_TRUNCATED; the buffer always gets a text. */
int sqloRetrieveNLString(int number, char *buffer, int size, const char *pCatalogPath);

/* Sets szLocale to KVXLANG if it is set, else to LANG if it is set, else to English. The argument is not used. */
void sqloInitLocale(const char *pLocale);

/* The catalog directory of a locale name. Null and unknown names get the English one. */
const char *sqloNormalizedLocaleDir(const char *pLocale);

/* ---------------------------------------------------------------------------------------------------------------
 * Report, logs and summary (sqloMessages.cpp)
 * ------------------------------------------------------------------------------------------------------------- */

/* One entry of the error list: a failure in the current pass. */
struct errorMsg {
    char szMessage[512]; // field
    errorMsg *next;      // the failure before it
};

/* One pass that is over. */
struct summaryNode {
    char szVersion[10];         // field: the level
    char szSummary[256];        // the verdict as it was reported
    errorMsg *pPrereqErrorList; // the entries, the newest first
    summaryNode *next;
};

extern errorMsg *pErrorList;            // the error list of the current pass, the newest entry first
extern summaryNode *pPrereqSummaryList; // the passes that are over, in their order

/* Appends a newline to the caller's buffer, which must have room for it, and writes the text to the report. With "-o"
 * the report is szReportFile; when it cannot be written, standard error gets MSG_REPORT_NOT_WRITABLE. Without "-o" it
 * is standard output, and "-s" and "-l" suppress it. A line for a standard output that was closed at the start is lost,
 * and main then reports MSG_REPORT_NOT_WRITABLE. Returns 0, or -1 for null. */
int logMessage(char *pText);

/* Appends the text as it is to the GUI report, if there is one; when that cannot be written, standard error gets
 * MSG_REPORT_NOT_WRITABLE. Returns 0, or -1 for null. */
int logGUIMessage(const char *pText);

/* Writes a line from the report of a remote host as logMessage does, but adds no newline. Returns 0, or -1 for null. */
int logRemoteMessage(const char *pText);

/* Adds an entry to the error list, cut to 512 characters. Returns 0, or -1 for null. */
int sqloUpdateErrorList(const char *pMessage);

/* Writes the verdict of the pass to the report: MSG_LEVEL_FAILED, MSG_FAILURES_FOLLOW and the entries, or
 * MSG_LEVEL_PASSED. With "-l" and without "-s" a bad verdict goes to standard error too. Moves the entries to the
 * summary list. Returns 0, or -1 for null. */
int sqloWriteSummaryToReport(const char *pLevel);

/* Prints the verdicts of all passes and their entries on standard error. Returns 0. */
int sqloPrintSummary(void);

/* ---------------------------------------------------------------------------------------------------------------
 * Host platform (sqloPlatform.cpp)
 * ------------------------------------------------------------------------------------------------------------- */

enum Severity {
    SEVERITY_ERROR = 1,
    SEVERITY_WARNING = 2,
};

extern int isUbuntu14;                            // 1 on Ubuntu 14.04 or later; set by sqloCheckLSBRelease
extern struct utsname name;                       // the identification of the kernel
extern char *pVersion, *pRelease, *pMinorRelease; // parts of the kernel release that was split last; null when missing

/* Finds the distribution, sets linuxDistro, and stores release and service pack under its tags (not for Ubuntu).
 * Returns RC_OK; or RC_INPUT for an unsupported distribution, with MSG_DISTRIBUTION_UNSUPPORTED on standard error and
 * linuxDistro 0. */
int sqloGetLinuxDistributions(void);

/* Reads the release file of the detected distribution: RHEL, SUSE, INSPUR or CENTOS. A later line overwrites an earlier
 * one; a missing part leaves its tag alone. Returns RC_OK; or -1 when the file cannot be opened (with bReport 1 it
 * reports MSG_FILE_NOT_OPENED) or severity is not a Severity. */
int sqloGetSUSERHELRelease(const char *pPath, int severity, int bReport);

/* Reads a SUSE release from /etc/os-release; the path is not used. A version without a dot has no service pack. The
 * newline of the line stays at the end of the last part. Returns 0. */
int sqloGetSuSERelease(const char *pPath, int severity, int bReport);

/* Checks the release of the detected distribution against the minimums of the level. Reports MSG_DISTRIBUTION_MISMATCH
 * when the run was given the name of another distribution. Returns 0 when it meets the minimums or no distribution was
 * detected, else -1; CENTOS and INSPUR fail with MSG_LEVEL_UNSUPPORTED when the level has no minimum for them. No
 * caller. */
int sqloCheckLinuxDistributions(void);

/* Checks a release and its service pack against the required ones. Null requires nothing; a missing service pack passes
 * only when none is required. Returns 0, or -1 with an entry. Reports MSG_DISTRIBUTION_REQUIRED, MSG_DISTRIBUTION_FOUND
 * and, with bReport, MSG_VERSION_UNREADABLE for an unreadable release. The caller writes the heading. The severity is
 * not used. */
int sqloCheckSUSERHELRelease(const char *pRequiredVersion, const char *pRequiredSP, const char *pFoundVersion,
                             const char *pFoundSP, int severity, int bReport);

/* Checks the Ubuntu release in a file against the required one. Sets isUbuntu14. Returns 0, or -1 when the release is
 * too low or cannot be read. When the file cannot be opened (with bReport it reports MSG_FILE_NOT_OPENED), or bReport
 * is 0 and the file has no release, it closes the block with MSG_CHECK_PASSED but still returns -1. Reports
 * MSG_UBUNTU_FOUND, MSG_UBUNTU_REQUIRED, MSG_VERSION_UNREADABLE, MSG_VERSION_SOURCE. The severity is not used. */
int sqloCheckLSBRelease(const char *pPath, const char *pRequiredVersion, int severity, int bReport);

/* Changes every letter of a text to upper case. No caller. */
void strToUpper(char *pText);

/* Reads the identification of the kernel into name, which the next two operations use, and stores the kernel level
 * under OSVersion, OSRelease and OSMinorRelease. A missing part leaves its tag alone. Returns 0, or -1 when uname
 * fails. */
int sqloGetOSLevel(void);

/* 1 on a supported 64-bit machine (x86_64, s390x, ppc64le), else 0. Call sqloGetOSLevel before. */
int sqloIsOS64bit(void);

/* Checks the kernel level against MinOSVersion, MinOSRelease and MinOSMinorRelease; a missing minimum is 0. Writes a
 * whole block. Returns 0 or -1. Reports MSG_KERNEL_REQUIRED, MSG_KERNEL_FOUND, MSG_KERNEL_LEVEL_MALFORMED. */
int sqloCheckOSLevel(void);

/* ---------------------------------------------------------------------------------------------------------------
 * Software checks (sqloSoftware.cpp). Each check writes a block to the report and its failures to the error list.
 * Unless a comment says otherwise it returns 0 when it passes, else -1. msgLevel is a Severity; with any other value a
 * check fails at once, asks nothing, and shows no severity. With emitErrors 1, a missing package is reported by a
 * message of its own, not by MSG_REQUIREMENT_NOT_MET. Package, file, version and release may be null only where a
 * comment says so.
 * ------------------------------------------------------------------------------------------------------------- */

extern int kshntp;               // 1 after the first sqlocheckNtpChronyKsh: see sqloCheckPackageLINUX
extern int isNTP;                // 1 while the NTP package is checked
extern char szNTPMessages[1024]; // the failure of the NTP package, which may go to the error list later

/* Checks that the tool `strings` exists. Returns 0, or -1 with a text on standard error. Writes no report. */
int sqloCheckTools(void);

/* Checks that the C++ runtime CPPLibName can be loaded, and that the runtime which the program uses has the symbol
 * version CPPVersionString. Without CPPLibName the first condition holds; without CPPVersionString the second one
 * fails. The check passes when the runtime is not mapped under its usual name or its texts cannot be read
 * (MSG_STRINGS_FAILED). Reports MSG_TITLE_LIBSTDCXX, MSG_LIBSTDCXX_LOCATED, MSG_LIBSTDCXX_REQUIRED,
 * MSG_LIBSTDCXX_FOUND, MSG_LIBRARY_NOT_LOADED, MSG_MAPS_NOT_OPENED. */
int sqloCheckLibStdCPlusPlus(void);

/* Checks that libaio.so.1 can be loaded. Reports MSG_LIBAIO_LOADED, or MSG_LOADER_ERROR and MSG_LIBAIO_MISSING. */
int sqloCheckLibAio(void);

/* Checks that libnuma.so.1 can be loaded. Reports MSG_LIBNUMA_LOADED, or MSG_LOADER_ERROR and MSG_LIBNUMA_MISSING. No
 * caller. */
int sqloCheckLibNuma(void);

/* Checks the level of the C library that the program uses against LibCVersion, LibCMajorRelease and LibCMinorRelease; a
 * missing minimum is 0. Passes when no mapped file holds a level. Fails when the texts of a file cannot be read, as
 * when strings times out. Reports MSG_TITLE_GLIBC, MSG_GLIBC_LOCATED, MSG_GLIBC_REQUIRED, MSG_GLIBC_FOUND,
 * MSG_GLIBC_MAPS_NOT_OPENED, MSG_GLIBC_STRINGS_FAILED. */
int sqloCheckGlibC(void);

/* Looks for a 32-bit libpam. Always returns 0: a missing one is a warning, with MSG_LIBPAM_32BIT_MISSING in the report
 * and the error list. Leaves the output of ldd in the capture file. */
int sqloCheckLibPAM(void);

/* Checks that a package, or the package that owns a file, is installed and at least minVersion and minRelease. Give
 * packageID or file or both; both minimums may be null. packageID "kernel-devel" without a minimum must match the
 * running kernel; a mismatch adds two entries. While isNTP is 1, a failure goes to szNTPMessages, not to the error
 * list. Once kshntp is 1, which nothing resets, two more rules hold: an equal version fails when its text sorts below
 * the required one, and a version that is not numeric is judged by its release. So the shells of the first level are
 * judged in another way than those of later levels. Reports MSG_REQUIRED_WITH_RELEASE, MSG_PACKAGE_FOUND_RELEASE,
 * MSG_VERSION_FOUND, MSG_PACKAGE_FOUND, MSG_REQUIRED_VERSION, MSG_KERNEL_DEVEL_MATCHED, MSG_QUERY_KILLED,
 * MSG_PACKAGE_NOT_INSTALLED, MSG_VERSION_UNREADABLE, MSG_VERSION_SOURCE, MSG_CAPTURE_NOT_READABLE, MSG_COMMAND_NOT_RUN,
 * MSG_KERNEL_DEVEL_UNMATCHED. */
int sqloCheckPackageLINUX(const char *packageID, const char *file, const char *minVersion, const char *minRelease,
                          int msgLevel, int emitErrors);

/* The same, as a warning, for the package that owns a command, or a file of that name. Sets kshntp. Also returns -1
 * when the answer about the command cannot be read (MSG_CAPTURE_NOT_READABLE). */
int sqlocheckNtpChronyKsh(const char *file, const char *version, const char *release);

/* Checks that a package of a group is installed for an architecture: b32Bit 1 for 32-bit, 0 for x86_64, else noarch.
 * The name of the group is the title. Reports MSG_PACKAGE_FOUND, MSG_QUERY_KILLED, MSG_IB_SUPPORT_MISSING,
 * MSG_HPN_MISSING, MSG_RDMA_IB_MISSING, MSG_COMMAND_NOT_RUN. */
int sqloCheckHCAPackageLINUX(const char *packageName, const char *rpmPkgName, int b32Bit, int msgLevel, int emitErrors);

/* The same for the package of a Mellanox library. The file name of the library is the title, and a missing package is
 * reported by a text of its own. Calls verifyVMware first. */
int sqloCheckMellanoxPackageLINUX(const char *packageName, const char *rpmPkgName, int b32Bit, int msgLevel,
                                  int emitErrors);

/* 0 when a package is installed, else -1. Reports only MSG_QUERY_KILLED. packageName is not used. */
int sqloCheckPackagePresenceLinux(const char *packageName, const char *rpmPkgName, int b32Bit);

/* 0 when KVXMLNXOFED enables the checks for the Mellanox stack and the stack is installed, else -1. Reports
 * MSG_CAPTURE_NOT_READABLE, MSG_COMMAND_NOT_RUN. */
int sqloCheckMellanoxLINUX(void);

/* Checks that the package of the SCSI generic utilities, or the package that owns a file, is installed; either may be
 * null. Also verifies the package of the reservation tool. Returns 0, or RC_SG_PACKAGE with the closing line as the
 * entry. Reports MSG_PACKAGE_FOUND, MSG_QUERY_KILLED, MSG_PACKAGE_NOT_INSTALLED. No caller. */
int sqloCheckSGPackageLINUX(const char *packageID, const char *file, int msgLevel, int emitErrors);

/* Checks that SELinux is disabled. Without getenforce it passes and reports nothing. When it fails, also because the
 * state cannot be read, the capture file stays. Reports MSG_TITLE_SELINUX, MSG_SELINUX_STATE, MSG_COMMAND_KILLED,
 * MSG_CAPTURE_NOT_READABLE, MSG_SELINUX_UNREADABLE, MSG_SELINUX_ENABLED. */
int sqloCheckSELinuxEnabled(void);

/* The answer of the adapter probe about a network name: its exit code. */
enum AdapterAnswer {
    ADAPTER_NO_ANSWER = 0, // as is every number that is not listed here
    ADAPTER_INFINIBAND = 1,
    ADAPTER_NOT_CLUSTER_READY = 2,
    ADAPTER_10GE = 3,
    ADAPTER_OTHER = 4,
    ADAPTER_UNDEFINED = 5,
    ADAPTER_PROBE_FAILED = 6,
};

/* Asks the adapter probe about szNetname and stores "10GE", "InfiniBand" or "Undefined" under HCANetwork. Returns 0, or
 * -1 when the probe answers ADAPTER_UNDEFINED. */
int sqloCheckMHCA(void);

/* Asks whether this is a VMware machine, and compares the raw status of the query: it returns -1, or 1 for the raw
 * status 1, but never 0. The rule for 32-bit Mellanox packages therefore always applies. */
int verifyVMware(void);

/* Runs the script of the cluster automation. Returns 0 when the script passes or does not exist
 * (MSG_VEX_SCRIPT_MISSING); -1 when it fails (MSG_VEX_SCRIPT_FAILED) or bShareGrid is 0. Writes a section to the GUI
 * report. No caller. */
int checkprereqVEX(int msgLevel, int emitErrors);

/* ---------------------------------------------------------------------------------------------------------------
 * Instance user and ports (sqloUserPorts.cpp). Each check writes a block to the report, adds its errors to the error
 * list, and returns 0 or -1.
 * ------------------------------------------------------------------------------------------------------------- */

/* Checks the account of an instance user: names of user and primary group with at most 8 characters, no shared group,
 * shell start-up files, and with checkSqllib no "sqllib" in the home directory. Asks getent about a user whom the
 * password database does not list; the files pseudo_user_*.out of getent stay in the current directory. A name that
 * cannot be part of a file name fails, and no file is written. */
int sqloValidateUserProfile(const char *usrname, int checkSqllib);

/* Checks the service port and, with fcmCheck, nPartitions + 1 FCM ports from fcmStartPort on. A port passes when the
 * services database has neither its number nor its name, or has both as one entry. The names are made from svcName,
 * which has at most 254 characters. A number outside 1 to 65535 is an error; such an FCM port ends the check of FCM
 * ports. With fewer than 0 partitions there are no FCM ports. */
int sqloValidatePorts(int svcPort, const char *svcName, int fcmCheck, int fcmStartPort, int nPartitions);

/* Checks that the umask of the shell is at most the given one; the masks are compared as decimal numbers. On failure
 * the closing line is the entry. Reports MSG_REQUIRED_WITH_RELEASE, MSG_VERSION_FOUND. Its file, named after the
 * temporary directory and the process id, stays. */
int sqloValidateUmsk(const char *umask);

/* ---------------------------------------------------------------------------------------------------------------
 * Network adapters and RDMA (sqloNetwork.cpp). A failure goes to the report, the error list and the GUI report, unless
 * a comment says otherwise; MSG_QUERY_KILLED and MSG_CAPTURE_NOT_READABLE go to the report only. Markers surround the
 * sections in the GUI report. Checks return 0 or -1.
 * ------------------------------------------------------------------------------------------------------------- */

/* Checks on RHEL and SUSE that the module option log_mtts_per_seg is 7 in the distribution's file. Passes on any other
 * distribution. Passes also when the Mellanox stack sets the option; the block then gets no closing line. Reports
 * MSG_MODPROBE_OPTION_MISSING, MSG_MODPROBE_OPTION_WRONG. */
int sqloValidateModProbe(void);

/* 0 when the last line of a file that sets the option to 7 or to 3 sets it to 7, else -1. Ignores other settings, and
 * lines that begin with "#". */
int chkModProbeFile(const char *modprobe);

/* Returns the lines of a file from the last to the first as a heap text, which the caller releases. Lines are read in
 * pieces of 256 characters, and only in the first megabyte; each piece gets a newline. Returns null when memory runs
 * out, or when the file cannot be opened; then it prints "Error " on standard output. */
char *sqoFlipFile(const char *modprobe);

/* Returns both texts joined in a new heap text, which the caller releases, or null when memory runs out. */
char *sqoConcat(const char *reversedFile, const char *currentLine);

/* Checks that the RDMA service of the distribution is installed and enabled. Reports MSG_SERVICE_INSTALLED,
 * MSG_SERVICE_ENABLED, MSG_QUERY_KILLED, MSG_SERVICE_NOT_INSTALLED, MSG_SERVICE_NOT_ENABLED. */
int sqloCheckForRDMAStatus(void);

/* The same for the service of the Mellanox stack. */
int sqloCheckForOpenibdStatus(void);

/* Checks that a service is enabled. Passes when the service manager does not list the service or cannot be asked. Fails
 * when the service is off, when it is listed only in other upper and lower case, and when the query was killed. Reports
 * MSG_SERVICE_ENABLED, MSG_QUERY_KILLED, MSG_SERVICE_NOT_ENABLED. */
int sqloCheckForOpenibdRDMAEnablement(const char *serviceName);

/* Asks the adapter probe about every network name. The last answer sets bNonIB; an empty list leaves it alone. A
 * failure is a warning. MSG_ADAPTER_NOT_CLUSTER_READY fails the check only without a uDAPL configuration file. A block
 * that passed has no closing line. Reports MSG_ADAPTER_INFINIBAND, MSG_ADAPTER_10GE, MSG_ADAPTER_OTHER,
 * MSG_DAT_CONF_MISSING, MSG_ADAPTER_NOT_CLUSTER_READY, MSG_ADAPTER_UNDEFINED, MSG_ADAPTER_PROBE_FAILED,
 * MSG_RUNTIME_CHECK_FAILED. No caller. */
void sqloValidateAdapter(void);

/* Runs the connectivity tool of the current directory with an adapter list file. While the tool runs, the program is
 * placed on every host. A failure is a warning that names the log of the tool. Only the low seven bits of the tool's
 * exit code count. Reports MSG_UDAPL_TEST_STARTED, MSG_CAPTURE_NOT_READABLE, MSG_UDAPL_TEST_FAILED (report and error
 * list). No caller. */
void sqloValidateAdapterUsingRocmc(const char *adapterFile);

/* ---------------------------------------------------------------------------------------------------------------
 * Cluster checks (sqloCluster.cpp). A failure goes to the report, the error list and the GUI report, unless a comment
 * says otherwise. Markers surround the sections in the GUI report. Checks return 0 or -1. No option fills the lists, so
 * all of these checks except that of free space are dormant.
 * ------------------------------------------------------------------------------------------------------------- */

/* One host of the cluster. */
struct hostInfo {
    char hostName[255]; // field: the name as given, perhaps with its domain; only the part before the first "." is
                        // compared
    int isSSH;          // 0 when the last test found the host not reachable by remote shell; 1 before any test
    hostInfo *next;
};

/* One instance user. */
struct userInfo {
    char userName[255]; // field
    int UID;
    int GID;
    int all; // 1 when UID and GID are set and must match, 0 when the user must only exist
    userInfo *next;
};

/* One shared disk. */
struct diskInfo {
    char diskName[255]; // field: device name or path
    char diskID[255];   // field: the expected identifier
    int all;            // 1 when diskID is set and must match
    diskInfo *next;
};

/* One tiebreaker disk as seen from one host. */
struct tbdiskInfo {
    char diskName[255]; // field
    char diskID[255];   // field
    char hostName[255]; // field
    int scsitype;       // 1: the pair test is not made
    int isdevInfoOk;    // not used, as diskID
    int reserveStatus;  // exit code of the pair test
    tbdiskInfo *next;
};

/* One network name of the cluster's interconnect. */
struct netNames {
    char netName[255]; // field
    netNames *next;
};

/* One name that /etc/hosts must map. */
struct etcHost {
    char Name[255];      // field
    char ipAddress[255]; // field: the address of the line that claimed the name
    int verify;          // 1 once a line has claimed the name
    etcHost *next;
};
typedef etcHost etcInfo;

/* The lists; the entry that was added last comes first. Nothing fills preqtbDiskInfo. */
extern hostInfo *preqHostInfo;
extern userInfo *preqUserInfo;
extern diskInfo *preqDiskInfo;
extern tbdiskInfo *preqtbDiskInfo;
extern netNames *preqNetNames;
extern etcInfo *preqEtcInfo;

/* Each adds an entry at the front of its list. They return RC_OK, RC_FAILED for a null name, or RC_NO_MEMORY. A null
 * diskID is stored as an empty text. No caller. */
int updateHostList(const char *hostName);
int updateUserList(const char *userName, int UID, int GID, int all);
int updateDiskList(const char *diskName, const char *diskID, int all);
int updateNetNames(const char *netName);

/* The remote shell and the remote copy command: the product's own if the configuration file names them, else ssh and
 * scp. Every call reads that file. */
const char *getSSHCmd(void);
const char *getSCPCmd(void);

/* Checks that every network name answers a ping. A failure is a warning. Reports MSG_PING_ANSWERED,
 * MSG_PING_UNANSWERED. */
int checkPingTest(void);

/* Checks that every host is reachable by the product's own remote shell, or else by ssh. Sets isSSH. The test of the
 * product's own shell reports no host. When that shell reaches all hosts, it adds a line to the configuration file, if
 * the file exists. */
int checkkvxSSHToAll(void);

/* Checks that every host is reachable by ssh. Sets isSSH. Reports MSG_SSH_REACHABLE, MSG_SSH_UNREACHABLE. */
int checkSSHToAll(void);

/* Packs the program and its companions and places them on every other host. A host that cannot be reached is marked and
 * reported (MSG_SSH_PLACING_FAILED, report only). When somebody else may have planted an archive or list file, nothing
 * is copied, standard error says so, and the copy counts as failed. Returns 1; or -1 when a command could not be run:
 * the hosts after that one get nothing. */
int placePrereqBinaries(void);

/* Runs the program on every other reachable host and merges its reports. Returns 0, or -1 when a run failed or a report
 * could not be fetched. Reports MSG_REMOTE_RUN_HEADING. */
int runPrereqBinaries(void);

/* Removes the placed files on this host, with the list files, and on the other hosts. Files on this host that somebody
 * else may have planted stay. Returns 0, or -1 when a removal could not be run; if that is the one on this host, the
 * other hosts keep their files. */
int removePrereqBinaries(void);

/* Checks that every user exists on this host with the expected UID and GID. With bInstList it writes what it found to
 * /tmp/il.txt; when it cannot create that file, it checks no user and fails. Reports MSG_USER_MISSING,
 * MSG_USER_ID_MISMATCH. */
int sqloValidateUsers(void);

/* Checks that /etc/hosts maps the expected names without contradictions. The file stays open until the exit. On failure
 * it sets bEtchostError and does not write the closing marker. Reports MSG_ETC_HOSTS_ENTRY_MISSING,
 * MSG_ETC_HOSTS_DUPLICATE (not in the error list for a second name on a line), MSG_ETC_HOSTS_LOOPBACK; and on standard
 * error only MSG_ETC_HOSTS_NOT_OPENED. No caller. */
int sqloValidateEtcHosts(void);

/* Adds an expected name, which is not null, at the front of the list, unless its short name is already there. Sets no
 * other member: call resetEtcHosts before the check. Returns RC_OK or RC_NO_MEMORY. No caller. */
int updateEtcHostInfo(const char *hostNameorIP);

/* Marks every expected name as not yet claimed. Returns 0. */
int resetEtcHosts(void);

/* Checks that every expected name was claimed. Reports MSG_ETC_HOSTS_ENTRY_MISSING for each that was not. */
int checkMissingEntries(void);

/* Checks that a name on a loopback line is not an expected name. Reports MSG_ETC_HOSTS_LOOPBACK. */
int checkLoopBack(const char *hostName);

/* Checks that no earlier line has claimed a name with this address. Reports MSG_ETC_HOSTS_DUPLICATE. */
int checkIPAddress(const char *IPAddr);

/* Claims the expected name that a name on a line matches, for the address of the line. Returns 1 when there is such a
 * name, else 0. Reports MSG_ETC_HOSTS_DUPLICATE when an earlier line has claimed it. */
int checkHostName(const char *IPAddr, const char *hostName);

/* Checks that the file system of a directory has so many kilobytes free. level is a Severity: a shortage is an error
 * (MSG_FREE_SPACE_SHORT), or a warning (MSG_FREE_SPACE_LOW), which does not go to the GUI report. With any other level
 * a shortage is not reported. When df fails, only the closing line shows it. Reports MSG_FREE_SPACE_MET,
 * MSG_CAPTURE_NOT_READABLE, MSG_COMMAND_NOT_RUN. */
int sqloCheckFreeSpace(const char *dir, int reqdSpace, int level);

/* Checks that all shared disks exist, by name or by expected identifier. A name that does not begin with "/" fails the
 * closing line, but not the result. With bDiskList it writes what it found to /tmp/dl.txt. The capture file stays, and
 * stays open. A disk is examined again for as long as its lookup is killed. Reports MSG_DISK_FOUND,
 * MSG_DISK_NOT_FOUND, and in the report only MSG_CAPTURE_NOT_READABLE and MSG_COMMAND_NOT_RUN. */
int sqloValidateDisk(void);

/* Checks that tbDiskName can be the tiebreaker disk: every host knows it by one identifier, and the reservation test
 * passes for each other host with this one and for this one with its neighbour in the list. A failed test shows only in
 * the closing line. Cuts a "/" at the end of tbDiskName. Places the program on every host, and removes it after the
 * tests; runs the probe of the current directory. Writes no marker to the GUI report. Reports
 * MSG_PACKAGE_NOT_INSTALLED, MSG_DISK_NOT_FOUND. */
int sqloValidateTbDisk(void);

/* Looks up the identifier of a disk (bIsGetDevId 1, result in pszDevId) or the disk with an identifier (0, result in
 * pszDevName), on this or on another host. The buffer of the result has at least 255 bytes. Returns 0, also when the
 * command fails or finds nothing; the buffer then keeps its text. Returns -1 when the command is killed or its output
 * cannot be opened. When a given identifier holds a newline, its last character is cut. */
int sqloGetDevNameOrID(const char *pszHostName, char *pszDevName, char *pszDevId, int bIsGetDevId, int bIsRemote);

/* 1 when the reservation policy of a disk is "no_reserve", else -1. No caller. */
int sqloGetSCSIType(const char *pszHostname, const char *pszTbDiskName, int isRemote);

#endif
