#pragma once

#include "contract/calls/CallbackTable.h"
#include "contract/calls/SignatureDescriptor.h"
#include "transport/client/CallTable.h"
#include "transport/client/Dial.h"
#include "transport/client/KnownMethods.h"
#include "transport/client/ReaderRole.h"
#include "transport/client/WakeUp.h"
#include "transport/wire/FrameWriter.h"

#include <foundation/concurrent/threadpool/Executor.h>
#include <foundation/log/diagnostic_logger.h>
#include <foundation/thread_annotations.h>

#include <array>
#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <thread>

namespace agent::spf::transport {

/// One connection to a daemon, from welcome to loss; all Invokables of that daemon share it.
///
/// A calling thread sends its own frame and, in help(), may read for everybody (see ReaderRole). A background
/// thread ends overdue calls, waits until a full socket is writable, and reads when no caller does. Handlers
/// run on the thread that reads, ends or disconnects, never under a lock. Exported callbacks run on the
/// executor. Calls beyond the limit of those without an answer wait for their turn, and their time runs.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    /// @param onLost called once, after every pending call has failed, on whichever thread noticed the loss;
    /// it must not block or call back.
    Connection(Dialled dialled, const Limits& limits, foundation::concurrent::threadpool::Executor& executor,
               std::function<void()> onLost);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void start();
    /// Waits, after disconnect(), until no thread reads; the executor is not used afterwards. Gives the
    /// descriptors and buffers back, as the services of this connection may be held for long. Not from a
    /// completion handler.
    void join();

    std::uint64_t call(std::uint32_t service, std::optional<std::chrono::milliseconds> timeout,
                       std::string method, core::SignatureDescriptor signature,
                       const core::GenericPayload& arguments, core::CompletionHandler handler);
    /// @throws what the call failed with.
    void callAndWait(std::uint32_t service, std::optional<std::chrono::milliseconds> timeout,
                     std::string_view method, core::SignatureDescriptor signature,
                     std::span<const core::ArgumentRef> arguments, core::ResultRef result);
    void collect() noexcept { writer_.hold(); }
    void sendCollected() noexcept { heed(writer_.release()); }
    void help(std::uint64_t call) noexcept;
    const std::shared_ptr<core::CallbackTable>& callbacks() const noexcept { return callbacks_; }

    // For the callbacks that came from here, each once:
    void answerCallback(std::uint64_t id, const core::GenericPayload& result) noexcept;
    void answerCallback(std::uint64_t id, core::ErrorKind kind, const std::string& text) noexcept;

    /// Ends the connection and fails what is pending. Whoever comes second does nothing.
    void disconnect(const std::string& why) noexcept;
    /// Empty while connected.
    std::string lossReason() const;

private:
    using Clock = std::chrono::steady_clock;

    /// A reader with more time than this sleeps in recv(2), which costs one system call where poll(2) and
    /// recv(2) cost two, and looks at its deadline after each slice.
    static constexpr std::chrono::milliseconds readSlice{50};

    /// A call beyond the limit of those without an answer, until one of them has ended.
    struct WaitingCall {
        wire::FrameBuilder frame;
        wire::Call::Builder call{nullptr}; ///< in it
        Clock::time_point deadline;
        std::uint64_t id = 0;

        std::size_t bytes() { return sizeof(*this) + frame.bytes(); }
    };

    /// Sends the call, or ends it. @param call without times. @return its id; 0 when it has ended unrecorded.
    template <class Arguments>
    std::uint64_t start(std::uint32_t service, std::optional<std::chrono::milliseconds> timeout,
                        core::SignatureDescriptor signature, const Arguments& arguments, PendingCall& call,
                        Clock::time_point now);
    /// Until the call has ended, which its record says by `waiter`.
    void wait(std::uint64_t call, ReaderRole::Waiter& waiter, Clock::time_point deadline,
              Clock::time_point now) noexcept;

    enum class Recorded { ToBeSent, Waits, HasToWait };
    /// Enters the call and sets its id; when it has to wait, only together with what waits.
    /// @throws core::InvocationError
    Recorded record(PendingCall& call, std::uint64_t& id, std::unique_ptr<WaitingCall> waiting);
    void forgetEndedWaiting() REQUIRES(mutex_);
    void sendWaiting() noexcept;
    bool send(wire::FrameBuilder& frame, std::uint64_t call);
    void heed(wire::FrameWriter::Outcome outcome) noexcept;
    void end(std::uint64_t call, std::exception_ptr error) noexcept;
    template <class Run>
    void runHandler(const PendingCall& call, const Run& run) noexcept;
    void fail(PendingCall& call, std::exception_ptr error) noexcept;
    /// For the reader; the receiver has read the result.
    void succeed(PendingCall& call) noexcept;
    void wakeCallers() noexcept;
    static std::exception_ptr overdue(const PendingCall& call);

    /// For the holder of the reader role. False when `until` has passed `now`.
    bool receive(Clock::time_point until, Clock::time_point now) noexcept;
    void handleFrames();
    void handle(wire::Message::Reader message);
    void handleReply(wire::Reply::Reader reply);
    void runCallback(wire::Callback::Reader callback);
    void sendAnswer(wire::FrameBuilder& frame) noexcept;

    void background();
    bool endOverdue();
    void waitAndServe(ReaderRole::Background turn);

    const Limits limits_;
    // The reader's and the background thread's, until both have ended; then, guarded by mutex_, empty.
    std::shared_ptr<const foundation::UniqueFd> socket_;
    const std::size_t peerFrameBytes_;
    foundation::concurrent::threadpool::Executor& executor_;
    const std::function<void()> onLost_;
    const std::shared_ptr<core::CallbackTable> callbacks_;
    const foundation::log::basic_diagnostic_logger<char> log_{"transport"};

    KnownMethods methods_;
    wire::FrameWriter writer_;
    std::atomic<bool> wantsWritable_ = false;
    std::atomic<std::size_t> runningCallbacks_ = 0;
    WakeUp wakeUp_; // the background thread's
    ReaderRole role_;
    // The reader's.
    wire::FrameBuffer buffer_;
    std::array<ReaderRole::Waiter*, 64> toWake_{};
    std::size_t toWakeCount_ = 0;

    mutable foundation::Mutex mutex_; // a leaf: nothing of others' is called or destroyed under it
    CallTable calls_ GUARDED_BY(mutex_);
    std::deque<std::unique_ptr<WaitingCall>> waiting_ GUARDED_BY(mutex_); // some may have ended meanwhile
    std::size_t waitingBytes_ GUARDED_BY(mutex_) = 0;
    bool lost_ GUARDED_BY(mutex_) = false;
    std::string lossReason_ GUARDED_BY(mutex_);
    Clock::time_point backgroundWakes_ GUARDED_BY(mutex_) = Clock::time_point::max(); // at the latest

    std::thread thread_;
};

} // namespace agent::spf::transport
