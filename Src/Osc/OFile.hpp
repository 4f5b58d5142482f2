// The output files of a score ("openoutfile", "closefile"), by the names
// its messages write to.
#pragma once

#include "RunTime/ChannelPort.hpp"

#include <fstream>
#include <map>
#include <string>

class OFile {
public:
    // Opens `path` for writing under `name` (mode 1 appends, else the file
    // starts empty); an open file of that name is closed first. False,
    // reported, when the file cannot be written.
    bool open(const std::string& name, const std::string& path, int mode);
    // False when no file is open under `name`.
    bool close(const std::string& name);
    bool has(const std::string& name) const { return files.count(name) > 0; }
    // Each argument list of a message is one line, its values separated by
    // a space: a string by its characters, other values as they print.
    void write(const std::string& name, const MessageLists& lists);
    void close_all() { files.clear(); }

private:
    struct File {
        std::string path;
        std::ofstream stream;
    };
    std::map<std::string, File> files;
};
