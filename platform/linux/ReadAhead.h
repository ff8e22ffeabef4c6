// Files that will be wanted later, and at once then.
#pragma once

#include <filesystem>
#include <thread>
#include <vector>

namespace morvel {

// Has the system read these files into its cache with the least priority. Takes no
// memory of the program's. What is not there is left out. The thread ends by itself; destroying it
// waits for the file that it is at.
std::jthread readAhead(std::vector<std::filesystem::path> files);

} // namespace morvel
