#include "tags.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <iterator>
#include <numeric>
#include <optional>
#include <string>
#include <unordered_map>

#include "../common/words.h"

namespace lint {

namespace {

constexpr std::size_t LARGEST_GROUP = 17;
constexpr std::size_t MOST_MISTAKES = 3; // the most mistakes in a misspelled name
constexpr std::size_t LONGEST_NAME = 64; // a longer name is not taken as a misspelled tag

struct tagGroup {
    tagUse use;
    std::size_t count;
    std::array<Tag, LARGEST_GROUP> tags;
};

template <typename... Tags>
constexpr tagGroup group(Reading read, TextKind text, std::string_view check, Tags... tags) {
    return {{read, text, check}, sizeof...(tags), {tags...}};
}

// The uses of the tags of distributions.
constexpr tagUse ofHost = {Reading::host, TextKind::any, "the host"};
constexpr tagUse ofMinimum = {Reading::dormant, TextKind::version, "level of the distribution"};
constexpr tagUse ofSection = {Reading::nothing, TextKind::any, "a section"};

// clang-format off
constexpr tagGroup groups[] = {
    group(Reading::everyPass, TextKind::number, "kernel level", MinOSVersion, MinOSRelease, MinOSMinorRelease),
    group(Reading::everyPass, TextKind::library, "C++ runtime", CPPLibName),
    group(Reading::everyPass, TextKind::symbol, "C++ runtime", CPPVersionString),
    group(Reading::everyPass, TextKind::mask, "umask, with -vastdw", UMASK),
    group(Reading::clusteredPass, TextKind::number, "C library level",
          LibCVersion, LibCMajorRelease, LibCMinorRelease),
    group(Reading::clusteredPass, TextKind::package, "shells", kshPackage, mkshPackage),
    group(Reading::clusteredPass, TextKind::version, "shells", kshVersion, kshRelease, mkshVersion),
    group(Reading::clusteredPass, TextKind::command, "time service", ntpPackage, chronyPackage),
    group(Reading::clusteredPass, TextKind::version, "time service", ntpVersion, chronyVersion),
    group(Reading::dormant, TextKind::package, "adapters",
          libIBConnectionMgr, libRDMAConnectionMgr, libRDMAModuleInitializer, libIBFabricSimulator,
          libIBDiagnosticTools, libChelsioHCAUsrspace, libOpenFabricsMAD, libOpenFabricsUsrMAD,
          libQLogicInfiniPathHCA, libIBHCAUserspace, libNetEffectRNICUserspace, libUsrSpaceRDMA,
          libConnectXHCAUsrSpace),
    group(ofHost.read, ofHost.text, ofHost.check, KVXLevel, platform, OSVersion, OSRelease, OSMinorRelease, Processor,
          LinuxDistro, MHCA, HCANetwork),
    group(ofSection.read, ofSection.text, ofSection.check, shareGrid),
    group(Reading::nothing, TextKind::package, "a package that the product uses",
          filePackage, libgompPackage, makePackage, patchPackage, libgccPackage, perlPackage, gccPackage,
          binUtilsPackage, python2Package, perlNetPingPackage, cppPackage, gccCPPPackage, netToolsPackage, m4Package,
          kernelSourcePackage, kernelDevelPackage),
    group(Reading::nothing, TextKind::package, "the SCSI utilities",
          sg3UtilsPackage, sg3UtilsPackageName, sgPersistPackage, sgPersistPackageName),
    group(Reading::nothing, TextKind::any, "a distribution's release package",
          RHELRelease, RHELReleasePackage, RHELReleaseVersion, SLESRelease, SLESReleasePackage, SLESReleaseVersion),
    group(Reading::nothing, TextKind::any, "a runtime", CPPVersion, DatConfLib, rtkPackageName, rtkPackage, rtkLabel,
          rtkVersion, rtkLibName, rtkMajorRelease, rtkMinorRelease, rtkMinorRelease2, VEXHACPPName),
    group(Reading::nothing, TextKind::any, "adapter software",
          uDAPLLabel, uDAPLPackage, uDAPLVersion, uDAPLMajorRel, uDAPLMinorRel2, uDAPLMinorRel, uDAPL, ofedPackage,
          ofedVersion, libIBIBVERBSPackage, libIBVERBSVersion, CommonInfinibandSupportPackage,
          HighPerformancePackage, InfinibandSupportPackage),
    group(Reading::nothing, TextKind::any, "an adapter",
          DDRIBFirmware, QDRIBFirmware, QDRIBDeviceID, MinQDRIBROM, RoceCX340GDeviceID, RoceCX310GDeviceID,
          RoceCX4100GDeviceID, RoceCX410GDeviceID, MinRoceCX340GROM, MinRoceCX310GROM, MinRoceCX4100GROM,
          MinRoceCX410GROM, RoceCX2Firmware, RoceCX2FlexDeviceID, RoceCX2DeviceID, MinRoceCX2FlexROM, MinRoceCX2ROM),
    group(Reading::nothing, TextKind::any, "a label", ntp, chrony, ksh, kolt),
};
// clang-format on

struct tagUses {
    std::array<tagUse, LastTag> byTag{};
    std::size_t given = 0; // how many times a tag got a use

    constexpr void give(int tag, const tagUse &use) {
        if (tag < 0)
            return;
        byTag[static_cast<std::size_t>(tag)] = use;
        given++;
    }
};

constexpr tagUses allUses() {
    tagUses uses;
    for (const tagGroup &group : groups)
        for (std::size_t i = 0; i < group.count; i++)
            uses.give(group.tags[i], group.use);
    for (const distributionTags &one : distributions) {
        if (one.section != one.version)
            uses.give(one.section, ofSection);
        uses.give(one.version, ofHost);
        uses.give(one.servicePack, ofHost);
        uses.give(one.minVersion, ofMinimum);
        uses.give(one.minServicePack, ofMinimum);
    }
    return uses;
}

constexpr tagUses uses = allUses();

constexpr bool everyTagHasOneUse() {
    for (const tagUse &use : uses.byTag)
        if (use.check.empty())
            return false;
    return uses.given == LastTag;
}
static_assert(everyTagHasOneUse(), "every tag has exactly one use");

using common::lowered;

typedef std::uint64_t letterSet; // of letters, whatever their case

letterSet lettersOf(std::string_view name) {
    letterSet letters = 0;
    for (const char c : name)
        letters |= letterSet(1) << (static_cast<unsigned char>(lowered(c)) % 64);
    return letters;
}

// Counts the letters of one set that another one lacks.
std::size_t lackingIn(letterSet other, letterSet letters) {
    return std::bitset<64>(letters & ~other).count();
}

struct tagName {
    std::string_view name;
    letterSet letters;
};

const std::array<tagName, LastTag> &tagNames() {
    static const auto all = [] {
        std::array<tagName, LastTag> names;
        std::transform(ppszTagName, ppszTagName + LastTag, names.begin(), [](const char *pName) {
            return tagName{pName, lettersOf(pName)};
        });
        return names;
    }();
    return all;
}

// Measures how far a name is from other names. The name has at most 64 letters: each letter has a set of bits, one for
// each of its places in the name.
class misspelledName {
public:
    explicit misspelledName(std::string_view text) : name(text) {
        for (std::size_t i = 0; i < name.size(); i++)
            places[placeOf(name[i])] |= std::uint64_t(1) << i;
    }

    // The number of letters to insert, delete or replace to get the name of a tag, whatever their case. It computes the
    // usual table of distances one column at a time: neighbouring cells differ by at most one, so a column is two sets
    // of bits, the rows that are one higher than the row above and the rows that are one lower.
    std::size_t distance(std::string_view tag) const {
        std::uint64_t up = ~std::uint64_t(0);
        std::uint64_t down = 0;
        std::size_t distance = name.size();
        const std::uint64_t last = std::uint64_t(1) << (name.size() - 1);
        for (const char c : tag) {
            const std::uint64_t same = places[placeOf(c)];
            const std::uint64_t diagonal = (((same & up) + up) ^ up) | same | down;
            std::uint64_t right = down | ~(diagonal | up);
            const std::uint64_t left = up & diagonal;
            distance += (right & last) != 0;
            distance -= (left & last) != 0;
            right = right << 1 | 1;
            up = left << 1 | ~(diagonal | right);
            down = right & diagonal;
        }
        return distance;
    }

private:
    static std::size_t placeOf(char c) {
        return static_cast<unsigned char>(lowered(c));
    }

    std::string_view name;
    std::array<std::uint64_t, 256> places{};
};

bool beginsWith(std::string_view tag, std::string_view name) {
    return tag.size() >= name.size() && std::equal(name.begin(), name.end(), tag.begin(), [](char left, char right) {
               return lowered(left) == lowered(right);
           });
}

} // namespace

const tagUse &useOf(int tag) {
    return uses.byTag[static_cast<std::size_t>(tag)];
}

template <typename Test> static const distributionTags *findDistribution(Test test) {
    const auto found = std::find_if(std::begin(distributions), std::end(distributions), test);
    return found == std::end(distributions) ? nullptr : found;
}

const distributionTags *distributionOf(std::string_view name) {
    return findDistribution([&](const distributionTags &one) { return one.name() == name; });
}

const distributionTags *distributionStoring(int tag) {
    return tag < 0 ? nullptr : findDistribution([&](const distributionTags &one) {
        return one.version == tag || one.servicePack == tag;
    });
}

const distributionTags *distributionOfSection(int tag) {
    return tag < 0 ? nullptr : findDistribution([&](const distributionTags &one) {
        return one.section == tag || one.version == tag;
    });
}

bool isSectionTag(int tag) {
    return tag == shareGrid || (tag >= 0 && findDistribution([&](const distributionTags &one) {
                                                return one.section == tag && one.version != tag;
                                            }) != nullptr);
}

int requirementFor(int tag) {
    for (const distributionTags &one : distributions) {
        if (tag == one.section || tag == one.version)
            return one.minVersion;
        if (tag == one.servicePack)
            return one.minServicePack;
    }
    switch (tag) {
    case OSVersion: return MinOSVersion;
    case OSRelease: return MinOSRelease;
    case OSMinorRelease: return MinOSMinorRelease;
    default: return -1;
    }
}

int hostTagFor(int requirement) {
    for (int tag = 0; tag < LastTag && requirement >= 0; tag++)
        if (useOf(tag).read == Reading::host && requirementFor(tag) == requirement)
            return tag;
    return -1;
}

int tagOf(std::string_view name) {
    static const auto tags = [] {
        std::unordered_map<std::string_view, int> all;
        for (int tag = LastTag - 1; tag >= 0; tag--)
            all[ppszTagName[tag]] = tag;
        return all;
    }();
    const auto found = tags.find(name);
    return found == tags.end() ? -1 : found->second;
}

// Finds the tag whose name differs least from a misspelled name; -1 when all differ in too many letters.
static int mostAlike(std::string_view name) {
    const auto &names = tagNames();
    const letterSet letters = lettersOf(name);
    std::optional<misspelledName> misspelled; // made for the few names that need it
    std::size_t best = std::min(name.size() / 3, MOST_MISTAKES) + 1;
    int nearest = -1;
    for (int other = 0; other < LastTag; other++) {
        const tagName &one = names[static_cast<std::size_t>(other)];
        if (name.size() >= one.name.size() + best || one.name.size() >= name.size() + best)
            continue;
        if (lackingIn(one.letters, letters) >= best || lackingIn(letters, one.letters) >= best)
            continue; // each letter that only one of the two names has is a mistake
        if (!misspelled)
            misspelled.emplace(name);
        const std::size_t found = misspelled->distance(one.name);
        if (found < best) {
            best = found;
            nearest = other;
        }
    }
    return nearest;
}

int nearestTag(std::string_view name) {
    const int tag = tagOf(name);
    if (tag >= 0)
        return tag;
    const int nearest = mostAlike(name);
    if (nearest >= 0 || name.size() <= MOST_MISTAKES)
        return nearest;
    const auto &names = tagNames();
    const auto *const longer =
        std::find_if(names.begin(), names.end(), [&](const tagName &one) { return beginsWith(one.name, name); });
    return longer == names.end() ? -1 : static_cast<int>(longer - names.begin());
}

// Do two names have the same letters, perhaps in another order?
static bool isTransposed(std::string_view left, std::string_view right) {
    return left.size() == right.size() &&
           std::is_permutation(left.begin(), left.end(), right.begin(),
                               [](char one, char other) { return lowered(one) == lowered(other); });
}

std::string_view distributionMeant(std::string_view word) {
    static constexpr std::string_view others[][2] = {
        {"redhat", "RHEL"},   {"red", "RHEL"},    {"rh", "RHEL"},    {"ol", "RHEL"},        {"oracle", "RHEL"},
        {"rocky", "RHEL"},    {"sles", "SUSE"},   {"alma", "RHEL"},  {"almalinux", "RHEL"}, {"sle", "SUSE"},
        {"opensuse", "SUSE"}, {"k-ux", "INSPUR"}, {"kux", "INSPUR"},
    };
    const std::string_view name = word.substr(0, std::min(word.find_first_of("0123456789"), word.size()));
    for (const distributionTags &one : distributions)
        if (common::sameLetters(one.name(), name))
            return one.name();
    for (const auto &other : others)
        if (common::sameLetters(other[0], name))
            return other[1];
    if (name.size() <= MOST_MISTAKES || name.size() > LONGEST_NAME)
        return {};
    const misspelledName misspelled(name);
    for (const distributionTags &one : distributions)
        if (misspelled.distance(one.name()) <= 1 || isTransposed(one.name(), name))
            return one.name();
    return {};
}

} // namespace lint
