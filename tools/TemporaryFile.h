#pragma once

#include <string>

// A new file under a name of its own in a folder, for content that takes another name when it is whole. Without
// rename() it disappears with the object, or with the process that a signal ends.
class TemporaryFile {
public:
    // `folder` is a descriptor that outlives the object. When the file cannot be made, descriptor() is -1 and errno
    // says why.
    explicit TemporaryFile(int folder);
    ~TemporaryFile();
    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;

    int descriptor() const { return m_descriptor; }

    // Closes the file; false with errno where the system reports an error of a write as late as here.
    bool close();

    // Gives the file its name in the same folder, over a file of that name only with `overwrite`. False with errno,
    // EEXIST for a file that may not be overwritten.
    bool rename(std::string const& name, bool overwrite);

private:
    int m_folder;
    int m_descriptor = -1;
    std::string m_name;      // empty once the file has its final name
    std::size_t m_place = 0; // in the list of removeTemporaryFiles()
};

// Removes all of them, for a process that ends at once. Safe in a signal handler.
void removeTemporaryFiles();
