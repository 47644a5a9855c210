#pragma once

#include "log/LineSink.h"

#include <memory>
#include <string>

namespace orv::log {

/// The console lines. An output that failed is dropped.
class ConsoleSink : public LineSink<SinkMutex> {
  public:
    explicit ConsoleSink(platform::ConsoleStream stream) { use(stream); }
    void use(platform::ConsoleStream stream);

  protected:
    void write_(platform::LogLines lines) override;

  private:
    std::unique_ptr<platform::LogOutput> output_;
};

/// The log file of the day of its making. It is opened by the first line, unless open() came before; one that
/// cannot be opened takes no line, and the host goes on without it.
class FileSink : public LineSink<SinkMutex> {
  public:
    explicit FileSink(std::string directory);
    void open();

  protected:
    void write_(platform::LogLines lines) override;

  private:
    void openOnce();

    std::string directory_;
    std::string name_;
    std::unique_ptr<platform::LogOutput> output_;
    bool tried_ = false;
};

} // namespace orv::log
