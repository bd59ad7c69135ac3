// The tree of the machine's time zones as JSON text, and the floor: a plain walk of the same directories.

#include "Tasks.h"

#include "logtime/ZoneTree.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

/** Finds out what each entry leads to and sorts the names, as any such list has to. @return how many files there are */
size_t walk(const std::filesystem::path &directory)
{
    std::vector<std::string> directories;
    std::vector<std::string> files;
    for (const std::filesystem::directory_entry &entry : std::filesystem::directory_iterator(directory))
        (entry.is_directory() ? directories : files).push_back(entry.path().filename().string());
    std::ranges::sort(directories);
    std::ranges::sort(files);
    size_t count = files.size();
    for (const std::string &name : directories)
        count += walk(directory / name);
    return count;
}

/** @param work tells how much it has found: a machine without time zones measures nothing */
template <typename Work> double secondsOfFinding(Work work)
{
    return taskSeconds([&] {
        if (work() == 0)
            std::exit(1);
    });
}

} // namespace

int main()
{
    return serveTasks({
        {"tree", [] { return secondsOfFinding([] { return zoneTreeText(u"/usr/share/zoneinfo"_s).size(); }); }},
        {"walk", [] { return secondsOfFinding([] { return walk("/usr/share/zoneinfo"); }); }},
    });
}
