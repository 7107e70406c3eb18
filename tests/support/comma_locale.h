// A global locale with a decimal comma and grouped thousands, as long as the object lives.
#pragma once

#include <locale>
#include <string>

namespace quill_test {

class CommaLocale {
  public:
    CommaLocale() : before_(std::locale::global(std::locale(std::locale(), new Numbers))) {}
    ~CommaLocale() { std::locale::global(before_); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

  private:
    class Numbers : public std::numpunct<char> {
      protected:
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };

    std::locale before_;
};

}  // namespace quill_test
