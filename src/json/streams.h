#pragma once

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace orv::json {

/// A stream buffer that writes straight into a string, behind what the string holds. The string is held
/// larger than its text while writing goes on: it is whole after pubsync() or when the buffer is gone.
class fast_string_ostreambuf : public std::streambuf {
  public:
    explicit fast_string_ostreambuf(std::string& target) : target_(target) { open(target.size()); }
    ~fast_string_ostreambuf() override { fast_string_ostreambuf::sync(); }
    fast_string_ostreambuf(const fast_string_ostreambuf&) = delete;
    fast_string_ostreambuf& operator=(const fast_string_ostreambuf&) = delete;

  protected:
    int_type overflow(int_type letter) override {
        if (traits_type::eq_int_type(letter, traits_type::eof())) return traits_type::not_eof(letter);
        grow(1);
        return sputc(traits_type::to_char_type(letter));
    }
    std::streamsize xsputn(const char* letters, std::streamsize count) override {
        if (epptr() - pptr() < count) grow(static_cast<std::size_t>(count));
        traits_type::copy(pptr(), letters, static_cast<std::size_t>(count));
        pbump(static_cast<int>(count));
        return count;
    }
    int sync() override {
        const std::size_t used = written();
        target_.resize(used);
        open(used);
        return 0;
    }

  private:
    static constexpr std::size_t kFirstSize = 512;

    std::size_t written() const { return static_cast<std::size_t>(pptr() - target_.data()); }
    void grow(std::size_t count) {
        const std::size_t used = written();
        target_.resize(std::max({kFirstSize, 2 * used, used + count}));
        open(used);
    }
    /// Makes the free part of the string, from `used` on, the stream's put area.
    void open(std::size_t used) { setp(target_.data() + used, target_.data() + target_.size()); }

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
    /// Reads over `count` bytes of the rest.
    void skip(std::size_t count) { setg(eback(), gptr() + count, egptr()); }
};

/// A string stream for building error texts.
class fast_basic_ostringstream : public std::ostream {
  public:
    fast_basic_ostringstream() : std::ostream(nullptr), buffer_(text_) { rdbuf(&buffer_); }
    const std::string& str() {
        buffer_.pubsync();
        return text_;
    }

  private:
    std::string text_;
    fast_string_ostreambuf buffer_;
};

} // namespace orv::json
