#include "Osc/OFile.hpp"

#include "Base/Console.hpp"

bool OFile::open(const std::string& name, const std::string& path, int mode) {
    files.erase(name);
    File f{path, std::ofstream(path, mode == 1 ? std::ios::app : std::ios::trunc)};
    if (!f.stream) {
        error("Error: unable to open file `%s'", path.c_str());
        return false;
    }
    files.emplace(name, std::move(f));
    return true;
}

bool OFile::close(const std::string& name) {
    return files.erase(name) > 0;
}

void OFile::write(const std::string& name, const MessageLists& lists) {
    auto it = files.find(name);
    if (it == files.end()) return;
    File& f = it->second;
    if (!f.stream) {
        error("Cannot write into output %s (file: %s)", name.c_str(), f.path.c_str());
        return;
    }
    for (const std::vector<Value>& list : lists) {
        for (std::size_t i = 0; i < list.size(); ++i) {
            if (i > 0) f.stream << ' ';
            if (list[i]->is_string_or_symb())
                f.stream << list[i]->get_string();
            else
                list[i]->show(f.stream);
        }
        f.stream << '\n';
    }
    f.stream.flush();
}
