#include "writers.h"
namespace report {
std::unique_ptr<writer> junitWriter(std::ostream &out) {
    return jsonWriter(out);
}
} // namespace report
