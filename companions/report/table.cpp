// The form for a terminal: a matrix of hosts and levels, and under each host what is wrong there.
#include "advice.h"
#include "outline.h"
#include "text.h"
#include "writers.h"

#include <algorithm>
#include <array>
#include <sstream>

namespace report {

namespace {

constexpr size_t screenWidth = 80, hostWidth = 18, resultWidth = 8, indent = 11;

enum Colour { plain, red, yellow, green, bold };

const char *wordOf(const pass *pOne) {
    static constexpr std::array words{"ok", "warn", "cut", "FAIL"};
    if (pOne == nullptr)
        return "-";
    return pOne->bFromErrors && pOne->result == PassResult::incomplete ? "?" : words[static_cast<size_t>(pOne->result)];
}

Colour colourOf(const pass *pOne) {
    static constexpr std::array colours{green, yellow, red, red};
    return pOne == nullptr ? plain : colours[static_cast<size_t>(pOne->result)];
}

Colour colourOf(HostResult result) {
    static constexpr std::array colours{green, yellow, red, red};
    return colours[static_cast<size_t>(result)];
}

std::string inCapitals(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return text;
}

class tableOutput : public writer {
public:
    tableOutput(std::ostream &stream, bool bInColour) : out(stream), bColour(bInColour) {
    }

    void add(host one) override {
        hosts.push_back(std::move(one));
    }

    void finish() override {
        const outline all(std::move(hosts));
        levels = all.levels;
        out << countsOf(all.hosts) << "\n\n";
        showCommon(all);
        showHead();
        for (size_t i = 0; i < all.hosts.size(); i++) {
            out << '\n';
            showHost(all.hosts[i], all.findings[i]);
        }
        if (levels.bClustered)
            out << "\nOf a level's two results the second is with the clustered feature.\n";
        if (levels.hidden > 0)
            out << '\n' << hiddenOf(levels) << '\n';
        showAdvice(adviceOn(all.hosts));
    }

private:
    // Pads a text, which may be coloured, to a width.
    std::string cell(const std::string &text, size_t width, Colour shade) const {
        static constexpr std::array codes{"", "\033[31m", "\033[33m", "\033[32m", "\033[1m"};
        const std::string padding(width - std::min(width, columns(text)), ' ');
        return bColour && shade != plain ? codes[shade] + text + "\033[0m" + padding : text + padding;
    }

    // Writes the cells of a row, as many in a line as the screen holds; the first line has begun.
    template <typename Cell> void showCells(size_t count, Cell cellAt) {
        const size_t width = levels.bClustered ? 10 : 8, inLine = (screenWidth - hostWidth - resultWidth - 2) / width;
        std::string line;
        for (size_t i = 0; i < count; i++) {
            if (i > 0 && i % inLine == 0) {
                put(line);
                line.assign(hostWidth + resultWidth + 2, ' ');
            }
            line += cellAt(i, width);
        }
        put(line);
    }

    // Writes a line without the blanks at its end.
    void put(std::string_view line) {
        const size_t end = line.find_last_not_of(' ');
        out << line.substr(0, end == std::string_view::npos ? 0 : end + 1) << '\n';
    }

    void showCommon(const outline &all) {
        for (const commonFinding &one : all.common)
            showFinding(*one.pFinding, *one.pHost,
                        ": " + std::to_string(one.hosts.size()) + " hosts, " + namesOf(one.hosts));
        if (!all.common.empty())
            out << '\n';
    }

    void showHead() {
        out << cell("HOST", hostWidth + 1, bold) << cell("RESULT", resultWidth + 1, bold);
        showCells(levels.names.size(),
                  [this](size_t i, size_t width) { return cell(visible(levels.names[i]) + " ", width, bold); });
    }

    void showHost(const host &one, const std::vector<finding> &findings) {
        const std::string name = visible(one.name);
        out << cell(name, hostWidth + 1, bold);
        if (columns(name) > hostWidth)
            out << '\n' << std::string(hostWidth + 1, ' ');
        out << cell(one.result == HostResult::passed ? nameOf(one.result) : inCapitals(nameOf(one.result)),
                    resultWidth + 1, colourOf(one.result));
        const auto row = rowOf(one, levels);
        const bool bStatus = failedByStatusAlone(one);
        showCells(row.size() + (bStatus ? 1 : 0), [&](size_t i, size_t width) {
            if (i == row.size())
                return cell("status " + std::to_string(one.status.value_or(0)), width, red);
            const auto [pPlain, pClustered] = row[i];
            const std::string first = cell(wordOf(pPlain), 5, colourOf(pPlain));
            return levels.bClustered ? first + cell(wordOf(pClustered), width - 5, colourOf(pClustered))
                                     : first + std::string(width - 5, ' ');
        });
        for (const std::string &note : notesOf(one))
            showWrapped(note, 2);
        if (!one.otherErrors.empty())
            out << "  Standard error:\n";
        for (const std::string &text : one.otherErrors)
            showWrapped(text, 4);
        for (const finding &now : findings)
            if (now.common)
                showTitle(now, "");
            else if (now.result != CheckResult::passed)
                showFinding(now, one, "");
    }

    void showFinding(const finding &now, const host &one, const std::string &more) {
        showTitle(now, more);
        for (const finding::detail &text : now.details) {
            const std::string where = whereIs(text, now, one);
            showWrapped((where.empty() ? "" : where + ": ") + text.text, indent);
        }
        if (const std::string where = whereIs(now, one); !where.empty())
            showWrapped("In " + where + ".", indent);
    }

    // A common finding has a number, by which hosts refer to it.
    void showTitle(const finding &now, const std::string &more) {
        static constexpr std::array severities{"", "WARNING", "ERROR", "OPEN"};
        static constexpr std::array colours{plain, yellow, red, red};
        const auto severity = static_cast<size_t>(now.result);
        out << "  " << cell(severities[severity], indent - 2, colours[severity]);
        const std::string number = now.common ? " [" + std::to_string(*now.common + 1) + "]" : "";
        showWrapped(now.title + number + more, indent, true);
    }

    void showAdvice(const std::vector<const advice *> &found) {
        if (!found.empty())
            out << "\n"
                << cell("WHAT TO DO", 0, bold)
                << "  (nothing of this is run; words in capitals are yours to fill in)\n";
        for (const advice *pOne : found) {
            out << "\n  " << pOne->pKind << '\n';
            showWrapped(pOne->pText, 4);
            for (size_t i = 0; i < adviceDistributions.size(); i++) {
                out << "    " << cell(adviceDistributions[i], 8, plain);
                showWrapped(pOne->commands[i], 12, true);
            }
        }
    }

    void showWrapped(const std::string &text, size_t margin, bool bBegun = false) {
        std::istringstream in(text);
        for (std::string whole; std::getline(in, whole);)
            for (const std::string &line : wrap(visible(whole), screenWidth - margin)) {
                out << (bBegun ? "" : std::string(margin, ' ')) << line << '\n';
                bBegun = false;
            }
        if (bBegun)
            out << '\n';
    }

    std::ostream &out;
    bool bColour;
    std::vector<host> hosts;
    levelColumns levels;
};

} // namespace

std::unique_ptr<writer> tableWriter(std::ostream &out, bool bColour) {
    return std::make_unique<tableOutput>(out, bColour);
}

} // namespace report
