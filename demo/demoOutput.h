// demoOutput.h - every file the demonstration program writes.
//
// A file is written under a temporary name beside it, "<name>.<pid>.<n>.part"
// (the process id and a count, so runs and files never share one), and renamed
// to its name only once all of it has been written and closed without error.
// An interrupted or failed write removes the temporary file, so a name in the
// folder always holds a whole file.
#ifndef VX_DEMO_OUTPUT_H
#define VX_DEMO_OUTPUT_H

#include <cstdio>
#include <string>

class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile(); // discards the temporary file unless committed
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Creates the temporary file for `path`. False with the reason in `error`.
    bool open(const std::string& path, std::string& error);
    FILE* stream() const { return file_; }
    // Flushes, closes and renames the temporary file to the path. False (the
    // temporary file removed) when any write, the close or the rename failed.
    bool commit(std::string& error);
    // Removes the temporary file.
    void discard();

private:
    std::string path_, part_;
    FILE* file_ = nullptr;
};

// A whole text file through an OutputFile. False with the reason in `error`.
bool writeTextFile(const std::string& path, const std::string& text, std::string& error);

struct Image;
// writeImage and writeTextFile, with "vxdemo: cannot write FILE: reason" on
// standard error when they fail for any reason but Ctrl-C.
bool saveImage(const std::string& path, const Image& image, float lo, float hi);
bool saveText(const std::string& path, const std::string& text);

#endif
