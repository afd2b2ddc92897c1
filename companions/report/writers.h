// The forms in which what was read is shown.
#ifndef KVX_REPORT_WRITERS_H
#define KVX_REPORT_WRITERS_H

#include "compare.h"
#include "report.h"

#include <memory>
#include <ostream>

namespace report {

// Takes one host after the other.
class writer {
public:
    writer() = default;
    writer(const writer &) = delete;
    writer &operator=(const writer &) = delete;
    virtual ~writer() = default;
    virtual void add(host one) = 0;
    virtual void finish() = 0;

    // Shows a comparison, too. The caller keeps it, and completes it before finish().
    void compareWith(const comparison &one) {
        pCompared = &one;
    }

protected:
    // Null where nothing is compared.
    const comparison *changes() const {
        return pCompared;
    }

private:
    const comparison *pCompared = nullptr;
};

// JSON and JUnit go out host by host, in English. A table and a page show the worst hosts first and wait for the last
// one; the caller keeps their texts. A table is written in a code set, the others in UTF-8.
std::unique_ptr<writer> jsonWriter(std::ostream &out);
std::unique_ptr<writer> junitWriter(std::ostream &out);
std::unique_ptr<writer> tableWriter(std::ostream &out, bool bColour, const messages &own, const encoder &codes);
std::unique_ptr<writer> htmlWriter(std::ostream &out, const messages &own);

} // namespace report

#endif
