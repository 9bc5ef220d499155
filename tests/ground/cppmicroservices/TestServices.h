#pragma once

#include <string>
#include <utility>

namespace test {

struct Greeter {
    virtual ~Greeter() = default;
    virtual std::string Greet() const = 0;
};

struct Counter {
    virtual ~Counter() = default;
    virtual int Count() const = 0;
};

struct Source {
    virtual ~Source() = default;
    virtual std::string Name() const = 0;
};

struct GreeterImpl : Greeter, Counter {
    explicit GreeterImpl(std::string t = "hello") : text(std::move(t)) {}
    std::string Greet() const override { return text; }
    int Count() const override { return static_cast<int>(text.size()); }
    std::string text;
};

} // namespace test
