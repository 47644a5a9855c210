#pragma once

#include <cstddef>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace orv::json {

/// A stream buffer that appends straight to a string.
class fast_string_ostreambuf : public std::streambuf {
  public:
    explicit fast_string_ostreambuf(std::string& target) : target_(target) {}

  protected:
    int_type overflow(int_type letter) override {
        if (!traits_type::eq_int_type(letter, traits_type::eof()))
            target_.push_back(traits_type::to_char_type(letter));
        return traits_type::not_eof(letter);
    }
    std::streamsize xsputn(const char* letters, std::streamsize count) override {
        target_.append(letters, static_cast<std::size_t>(count));
        return count;
    }

  private:
    std::string& target_;
};

/// Reads a text as a stream, without a copy. The text must outlive the buffer.
class fast_string_istreambuf : public std::streambuf {
  public:
    explicit fast_string_istreambuf(std::string_view text) {
        char* first = const_cast<char*>(text.data()); // the get area is only read
        setg(first, first, first + text.size());
    }

    /// What has not been read yet.
    std::string_view rest() const { return {gptr(), static_cast<std::size_t>(egptr() - gptr())}; }
};

/// A string stream for building error texts.
class fast_basic_ostringstream : public std::ostream {
  public:
    fast_basic_ostringstream() : std::ostream(nullptr), buffer_(text_) { rdbuf(&buffer_); }
    const std::string& str() const { return text_; }

  private:
    std::string text_;
    fast_string_ostreambuf buffer_;
};

} // namespace orv::json
