// The form for a terminal: a matrix of hosts and levels, with the findings of each host below it.
#include "compareText.h"
#include "outline.h"
#include "text.h"
#include "writers.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <sstream>

namespace report {

namespace {

constexpr size_t screenWidth = 80;
constexpr size_t hostWidth = 18;

enum Colour { plain, red, yellow, green, bold };

// The words for the results of a pass, a host and a check, in the order of the enumerations.
constexpr std::array passWords{Message::cellPassed, Message::cellWarning, Message::cellIncomplete, Message::cellFailed};
constexpr std::array hostWords{Message::tablePassed, Message::tableWarning, Message::tableUnknown,
                               Message::tableFailed};
constexpr std::array checkWords{Message::tablePassed, Message::tableWarning, Message::tableError,
                                Message::tableUnknown};
// The words for the changes, in the order of the enumeration.
constexpr std::array changeWords{Message::tableWorse,  Message::tableUnknown, Message::tableCame, Message::tableWent,
                                 Message::tableBetter, Message::tableChanged, Message::tableSame};

Colour colourOf(Change kind) {
    static constexpr std::array colours{red, red, plain, plain, green, plain, plain};
    return colours[static_cast<size_t>(kind)];
}

Colour colourOf(const pass *pOne) {
    static constexpr std::array colours{green, yellow, red, red};
    return pOne == nullptr ? plain : colours[static_cast<size_t>(pOne->result)];
}

Colour colourOf(HostResult result) {
    static constexpr std::array colours{green, yellow, red, red};
    return colours[static_cast<size_t>(result)];
}

class tableOutput : public writer {
public:
    tableOutput(std::ostream &stream, bool bInColour, const messages &texts, const encoder &writtenIn)
        : target(stream), codes(writtenIn), bColour(bInColour), own(texts), cellWidth(widest(passWords, {}) + 1),
          resultWidth(widest(hostWords, {Message::tableResult}) + 1),
          indent(std::max(widest(checkWords, {Message::tableWaived}), widest(changeWords, {})) + 4) {
    }

    void add(host one) override {
        hosts.push_back(std::move(one));
    }

    void finish() override {
        const outline all(std::move(hosts), own);
        levels = all.levels;
        out << countsOf(all.hosts, own) << '\n';
        if (const size_t count = countWaived(all); count > 0)
            showWrapped(own.text(Message::waivedCounted, {std::to_string(count)}), 0);
        out << '\n';
        showChanges();
        showCommon(all);
        showHead();
        for (size_t i = 0; i < all.hosts.size(); i++) {
            out << '\n';
            showHost(all.hosts[i], all.findings[i]);
        }
        if (levels.bClustered)
            showParagraph(own.text(Message::tableClustered));
        if (levels.hidden > 0)
            showParagraph(hiddenOf(levels, own));
        showAdvice(adviceOf(all));
        target << codes.encode(out.str());
    }

private:
    template <size_t N> size_t widest(const std::array<Message, N> &words, std::initializer_list<Message> more) const {
        size_t most = 0;
        for (const Message one : words)
            most = std::max(most, columns(own.text(one)));
        for (const Message one : more)
            most = std::max(most, columns(own.text(one)));
        return most;
    }

    std::string wordOf(const pass *pOne) const {
        if (pOne == nullptr)
            return "-";
        const bool bUnknown = pOne->bFromErrors && pOne->result == PassResult::incomplete;
        return bUnknown ? "?" : own.text(passWords[static_cast<size_t>(pOne->result)]);
    }

    std::string coloured(const std::string &text, Colour shade) const {
        static constexpr std::array codes{"", "\033[31m", "\033[33m", "\033[32m", "\033[1m"};
        return bColour && shade != plain ? codes[shade] + text + "\033[0m" : text;
    }

    // A coloured text and the blanks behind it up to a width.
    std::string cell(const std::string &text, size_t width, Colour shade) const {
        return coloured(text, shade) + std::string(width - std::min(width, columns(text)), ' ');
    }

    // Writes the cells of a row behind what the line already has. A row that is wider than the screen goes on in the
    // next line.
    template <typename Cell> void showCells(size_t count, Cell cellAt) {
        const size_t width = std::max<size_t>(levels.bClustered ? 2 * cellWidth : cellWidth, 8);
        const size_t margin = hostWidth + resultWidth + 2;
        const size_t inLine = (screenWidth - margin) / width;
        std::string line;
        for (size_t i = 0; i < count; i++) {
            if (i > 0 && i % inLine == 0) {
                put(line);
                line.assign(margin, ' ');
            }
            line += cellAt(i, width);
        }
        put(line);
    }

    // Writes a line without the blanks at its end.
    void put(std::string_view line) {
        out << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
    }

    void showChanges() {
        if (changes() == nullptr)
            return;
        out << coloured(own.text(Message::changesHeading, {visible(changes()->since())}), bold) << '\n';
        showWrapped(countsOf(*changes(), own), 0);
        out << '\n';
        for (const hostChange &one : changes()->hosts()) {
            showChangedHost(one);
            out << '\n';
        }
    }

    void showChangedHost(const hostChange &one) {
        showName(one.name);
        showChange(one.kind, changeOf(one, own), hostWidth + 1);
        for (const checkChange &now : one.checks) {
            out << "  ";
            showChange(now.kind, titleOf(now, own), 2);
            for (const std::string &value : valuesOf(now, own))
                showWrapped(value, indent);
            showWrapped(own.text(Message::tablePasses, {whereIs(now, own)}), indent);
        }
    }

    // Writes the word of a change and the change itself behind the margin, which the caller has written.
    void showChange(Change kind, const std::string &text, size_t margin) {
        out << cell(own.text(changeWords[static_cast<size_t>(kind)]), indent - 2, colourOf(kind));
        showWrapped(text, margin + indent - 2, true);
    }

    void showCommon(const outline &all) {
        for (const commonFinding &one : all.common)
            showFinding(*one.pFinding, *one.pHost, &one);
        if (!all.common.empty())
            out << '\n';
    }

    void showHead() {
        out << cell(own.text(Message::tableHost), hostWidth + 1, bold)
            << cell(own.text(Message::tableResult), resultWidth + 1, bold);
        showCells(levels.names.size(),
                  [this](size_t i, size_t width) { return cell(visible(levels.names[i]) + " ", width, bold); });
    }

    // Begins a line with a host, or with a margin as wide below a long name.
    void showName(const std::string &host) {
        const std::string name = visible(host);
        out << cell(name, hostWidth + 1, bold);
        if (columns(name) > hostWidth)
            out << '\n' << std::string(hostWidth + 1, ' ');
    }

    void showHost(const host &one, const std::vector<finding> &findings) {
        showName(one.name);
        out << cell(own.text(hostWords[static_cast<size_t>(one.result)]), resultWidth + 1, colourOf(one.result));
        const auto row = rowOf(one, levels);
        const bool bStatus = failedByStatusAlone(one);
        showCells(row.size() + (bStatus ? 1 : 0), [&](size_t i, size_t width) {
            if (i == row.size())
                return cell(own.text(Message::tableStatus, {std::to_string(one.status.value_or(0))}), width, red);
            const auto [pPlain, pClustered] = row[i];
            if (!levels.bClustered)
                return cell(wordOf(pPlain), width, colourOf(pPlain));
            return cell(wordOf(pPlain), cellWidth, colourOf(pPlain)) +
                   cell(wordOf(pClustered), width - cellWidth, colourOf(pClustered));
        });
        for (const std::string &note : notesOf(one, own))
            showWrapped(note, 2);
        if (!one.otherErrors.empty())
            out << "  " << own.text(Message::tableStandardError) << '\n';
        for (const std::string &text : one.otherErrors)
            showWrapped(text, 4);
        for (const finding &now : findings)
            if (now.common)
                showTitle(now, nullptr);
            else if (now.result != CheckResult::passed)
                showFinding(now, one, nullptr);
    }

    void showFinding(const finding &now, const host &one, const commonFinding *pCommon) {
        showTitle(now, pCommon);
        if (now.waived)
            showWrapped(textOf(*now.waived, own), indent);
        for (const finding::detail &text : now.details) {
            const std::string where = whereIs(text, now, one, own);
            showWrapped(where.empty() ? text.text : own.text(Message::tableLineOfPasses, {where, text.text}), indent);
        }
        if (const std::string where = whereIs(now, one, own); !where.empty())
            showWrapped(own.text(Message::tablePasses, {where}), indent);
    }

    // A common finding has a number, and each of its hosts refers to that. With pCommon the title names the hosts too.
    void showTitle(const finding &now, const commonFinding *pCommon) {
        static constexpr std::array colours{plain, yellow, red, red};
        const auto severity = static_cast<size_t>(now.result);
        out << "  "
            << cell(own.text(now.waived ? Message::tableWaived : checkWords[severity]), indent - 2,
                    now.waived ? plain : colours[severity]);
        const std::string number = now.common ? " [" + std::to_string(*now.common + 1) + "]" : "";
        std::string title = shownTitle(now.title, own) + number;
        if (pCommon != nullptr)
            title = own.text(Message::tableCommon,
                             {title, std::to_string(pCommon->hosts.size()), namesOf(pCommon->hosts, own)});
        showWrapped(title, indent, true);
    }

    void showAdvice(const std::vector<advised> &found) {
        if (found.empty())
            return;
        out << '\n' << coloured(own.text(Message::tableAdvice), bold) << '\n';
        showWrapped(own.text(Message::adviceAbout), 0);
        for (const advised &one : found) {
            out << '\n';
            showWrapped(headingOf(one, own), 2);
            showWrapped(own.text(one.pAdvice->text), 4);
            for (size_t i = 0; i < adviceDistributions.size(); i++) {
                out << "    " << cell(adviceDistributions[i], 8, plain);
                showWrapped(one.pAdvice->commands[i], 12, true);
            }
        }
    }

    void showParagraph(const std::string &text) {
        out << '\n';
        showWrapped(text, 0);
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

    std::ostream &target;
    const encoder &codes;
    std::ostringstream out; // in UTF-8
    bool bColour;
    const messages &own;
    size_t cellWidth;   // of a result of a pass, with a blank
    size_t resultWidth; // of a result of a host
    size_t indent;      // of what is below a result of a check
    std::vector<host> hosts;
    levelColumns levels;
};

} // namespace

std::unique_ptr<writer> tableWriter(std::ostream &out, bool bColour, const messages &own, const encoder &codes) {
    return std::make_unique<tableOutput>(out, bColour, own, codes);
}

} // namespace report
