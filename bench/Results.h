// What a benchmark leaves for the report besides its figures.
#pragma once

#include <string>
#include <vector>

namespace morvel::bench {

// Writes the values as a JSON array to NAME.values in the folder that MORVEL_BENCH_RESULTS names,
// if it does.
void keep(const std::string& name, const std::vector<double>& values);

} // namespace morvel::bench
