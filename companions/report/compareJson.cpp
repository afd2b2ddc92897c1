#include "compareJson.h"

#include "../common/json.h"

namespace report {

using json::list;
using json::member;

static void appendPassName(std::string &json, const passName &one) {
    json += '{';
    member(json, "level", one.level);
    member(json, "clustered", one.clustered);
    json += '}';
}

static void appendChange(std::string &json, const checkChange &one) {
    json += '{';
    if (one.bPass)
        json += "\"id\": null, \"title\": null";
    else {
        if (one.titleMessage != 0)
            member(json, "id", one.titleMessage);
        else
            member(json, "id", std::string_view(one.title));
        member(json, "title", std::string_view(one.title));
    }
    if (one.message != 0)
        member(json, "message", one.message);
    else
        member(json, "change", nameOf(one.kind));
    member(json, "before", one.before);
    member(json, "now", one.now);
    list(json, "passes", one.passes, appendPassName);
    json += '}';
}

static std::optional<std::string> wordOf(const std::optional<HostResult> &result) {
    return result ? std::optional<std::string>(nameOf(*result)) : std::nullopt;
}

static void appendHost(std::string &json, const hostChange &one) {
    std::vector<checkChange> checks, values;
    for (const checkChange &now : one.checks)
        (now.kind == Change::changed ? values : checks).push_back(now);
    json += "\n{";
    member(json, "host", std::string_view(one.name));
    member(json, "change", nameOf(one.kind));
    member(json, "before", wordOf(one.before));
    member(json, "now", wordOf(one.now));
    list(json, "checks", checks, appendChange);
    list(json, "values", values, appendChange);
    json += '}';
}

void appendChanges(std::string &json, const comparison *pChanges) {
    if (pChanges == nullptr) {
        json += "null";
        return;
    }
    json += '{';
    member(json, "since", std::string_view(pChanges->since()));
    list(json, "hosts", pChanges->hosts(), appendHost);
    json += '}';
}

} // namespace report
