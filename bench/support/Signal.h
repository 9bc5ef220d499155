#pragma once

namespace zelkor::bench {

/// Tells from other processes to this one how far they are. Shared by the processes forked while it lives.
class Signal {
public:
    Signal();
    ~Signal();
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;

    void give() const;
    /// From now on each byte that this process writes to its standard output is a signal.
    void giveByOutput() const;
    /// Waits for so many. @throws std::runtime_error when one does not come within a minute.
    void await(int count = 1) const;

private:
    int ends_[2]{};
};

} // namespace zelkor::bench
