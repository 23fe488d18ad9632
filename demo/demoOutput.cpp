#include "demoOutput.h"

#include "demoImage.h"
#include "demoSignals.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

OutputFile::~OutputFile() {
    discard();
}

bool OutputFile::open(const std::string& path, std::string& error) {
    discard();
    static unsigned counter = 0;
    struct stat st;
    if (::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
        error = std::strerror(EISDIR);
        return false;
    }
    // O_EXCL: a name some other process happens to hold is never reused.
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string part =
            path + "." + std::to_string(::getpid()) + "." + std::to_string(counter++) + ".part";
        // Registered before it exists, so that a signal arriving from here on
        // removes it.
        setPendingFile(part);
        const int fd = ::open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0) {
            if (errno == EEXIST) {
                continue;
            }
            error = std::strerror(errno);
            setPendingFile("");
            return false;
        }
        file_ = ::fdopen(fd, "wb");
        if (file_ == nullptr) {
            error = std::strerror(errno);
            ::close(fd);
            ::unlink(part.c_str());
            setPendingFile("");
            return false;
        }
        path_ = path;
        part_ = part;
        return true;
    }
    error = "no free temporary name";
    setPendingFile("");
    return false;
}

bool OutputFile::commit(std::string& error) {
    if (file_ == nullptr) {
        error = "not open";
        return false;
    }
    // Errors of buffered writes only show at the flush, those of the file
    // system's write-back only at the close.
    const bool written = std::fflush(file_) == 0 && std::ferror(file_) == 0;
    int savedErrno = errno;
    const bool closed = std::fclose(file_) == 0;
    file_ = nullptr;
    if (written && !closed) {
        savedErrno = errno;
    }
    if (!written || !closed) {
        error = std::strerror(savedErrno);
        discard();
        return false;
    }
    if (std::rename(part_.c_str(), path_.c_str()) != 0) {
        error = std::strerror(errno);
        discard();
        return false;
    }
    setPendingFile("");
    part_.clear();
    return true;
}

void OutputFile::discard() {
    if (file_ != nullptr) {
        std::fclose(file_);
        file_ = nullptr;
    }
    if (!part_.empty()) {
        ::unlink(part_.c_str());
        setPendingFile("");
        part_.clear();
    }
}

bool writeTextFile(const std::string& path, const std::string& text, std::string& error) {
    OutputFile out;
    if (!out.open(path, error)) {
        return false;
    }
    if (std::fwrite(text.data(), 1, text.size(), out.stream()) != text.size()) {
        error = std::strerror(errno);
        return false;
    }
    return out.commit(error);
}

namespace {

bool reported(bool ok, const std::string& path, const std::string& error) {
    if (!ok && !interruptRequested()) {
        std::fprintf(stderr, "vxdemo: cannot write %s: %s\n", path.c_str(), error.c_str());
    }
    return ok;
}

} // namespace

bool saveImage(const std::string& path, const Image& image, float lo, float hi) {
    std::string error;
    return reported(writeImage(path, image, lo, hi, error), path, error);
}

bool saveText(const std::string& path, const std::string& text) {
    std::string error;
    return reported(writeTextFile(path, text, error), path, error);
}
