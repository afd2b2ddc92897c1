#include "writers.h"
namespace report {
std::unique_ptr<writer> htmlWriter(std::ostream &out) {
    return jsonWriter(out);
}
} // namespace report
