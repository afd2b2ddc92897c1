/*
 * The run settings, and the distribution of the host. Every source may read them; this file needs no other source.
 */
#include "sqloPrereqCheck.h"

/* Set by options. */
int bClient;
int debug;
int strictFlag;
int vastdw;
int usname;
char uname1[255];
int sqllib;
int isPort;
int servicePort;
int isfcmstart;
int fcmstart;
int partitions = 1;
int issvcnm;
char svcnm[255];
int bCustomInputFile;
char szInputXMLFile[256];
int bCustomReportFile;
char szReportFile[256];
int bGUIReportFile;
char szGUIReportFile[256];
int bCheckLatestRelease;
int bNonShareGrid;
int bPrintSummary;
int bCheckSpecificRelease;
char szInputVersion[30];
int bCheckForAllKVXVesion;

/* Set by the program itself. */
int bShareGrid;
int bOrigShareGrid;
int bPCSupportedPlatform = 1;
int bnoStdRtk;
int bOutputClosed;
int bEtchostError;
char szPlatform[30];
char szProcessor[30];
char szNetworkType[256];
char szNetname[256];
char szinstPathName[257];
char szPrereqCatFilePath[256];
char szRuntimePath[1025];
char IIHName[255];
char addCmd[255];
char addFiles[255];
char tbDiskName[255];

/* Set by no option and no statement: see the header. */
int bHostList;
int bHostName;
int bDiskList, bDiskName;
int bInstList, bInstName;
int bNetList, bNetName;
int bTbDiskName;
int bUDAPL;
int bMHCA;
int bCustomNetworkType;
int bAdapterListFile;
int bOSSH;
int bNonIB;
int bInputInstanceHome;
char szInputHome[256];
int bInputInstallPath;
char szInputInstallPath[256];
char szInputDistro[256];

/* The host. */
int linuxDistro;
constexpr const char *const ppszDistroName[DISTRO_COUNT] = {"", "RHEL", "SUSE", "UBUNTU", "INSPUR", "CENTOS"};
static_assert(ppszDistroName[DISTRO_COUNT - 1] != nullptr, "every distribution has a name");
