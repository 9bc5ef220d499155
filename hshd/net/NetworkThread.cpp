#include "hshd/net/NetworkThread.h"

#include "hshd/Log.h"
#include "hshd/net/Url.h"

#include <array>
#include <cerrno>
#include <curl/curl.h>
#include <fcntl.h>
#include <stdexcept>
#include <sys/timerfd.h>
#include <unistd.h>
#include <utility>

namespace hshd::net {
namespace {

using Failure = HttpAnswer::Failure;

constexpr int longestWait = 60'000; // milliseconds; a wake-up that is lost costs no more

CURLM* newMulti() {
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    CURLM* multi = ready == CURLE_OK ? curl_multi_init() : nullptr;
    if (!multi)
        throw std::runtime_error("the library for web requests cannot be used");
    return multi;
}

Failure kindOf(CURLcode code) {
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT:
        return Failure::Unreachable;
    case CURLE_OPERATION_TIMEDOUT:
        return Failure::Timeout;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ISSUER_ERROR:
        return Failure::Untrusted;
    default:
        return Failure::Broken;
    }
}

} // namespace

/// One request on its way. The library keeps pointers into it.
class NetworkThread::Transfer {
public:
    Transfer(HttpRequest request, const Url& url, HttpDone done)
        : request_(std::move(request)), host_(url.host), done_(std::move(done)), easy_(curl_easy_init()) {
        if (!easy_)
            throw std::bad_alloc();
        set(CURLOPT_URL, request_.url.c_str());
        set(CURLOPT_PROTOCOLS_STR, url.isLoopback() ? "http,https" : "https");
        if (url.isLoopback())
            set(CURLOPT_PROXY, "");
        set(CURLOPT_FOLLOWLOCATION, 0L);
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_QUICK_EXIT, 1L);
        set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request_.connectLimit.count()));
        set(CURLOPT_TIMEOUT_MS, static_cast<long>(request_.limit.count()));
        set(CURLOPT_ERRORBUFFER, error_.data());
        set(CURLOPT_USERAGENT, "hshd");
        if (!request_.caFile.empty())
            set(CURLOPT_CAINFO, request_.caFile.c_str());
        add("Accept: application/json");
        if (request_.authorization) {
            Wiped header("Authorization: " + std::string(request_.authorization.view()));
            add(header->c_str());
        }
        if (request_.form) {
            set(CURLOPT_POST, 1L);
            set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.form.view().size()));
            set(CURLOPT_POSTFIELDS, request_.form.view().data());
        }
        set(CURLOPT_HTTPHEADER, headers_);
        set(CURLOPT_WRITEDATA, this);
        set(CURLOPT_WRITEFUNCTION, &Transfer::take);
    }
    ~Transfer() {
        curl_easy_cleanup(easy_);
        for (curl_slist* header = headers_; header; header = header->next)
            wipe({header->data, std::char_traits<char>::length(header->data)});
        curl_slist_free_all(headers_);
    }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    CURL* easy() const noexcept { return easy_; }

    void finish(CURLcode code) {
        curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &answer_.status);
        curl_off_t wait = 0;
        curl_easy_getinfo(easy_, CURLINFO_RETRY_AFTER, &wait);
        if (wait > 0)
            answer_.retryAfter = std::chrono::seconds(wait);
        if (tooLarge_)
            fail(Failure::TooLarge,
                 "answered with more than " + std::to_string(request_.answerBytes) + " bytes");
        else if (code == CURLE_OPERATION_TIMEDOUT)
            fail(Failure::Timeout, "did not answer in time");
        else if (code != CURLE_OK)
            fail(kindOf(code), error_[0] ? error_.data() : curl_easy_strerror(code));
        else if (answer_.status >= 300 && answer_.status < 400)
            failRedirected();
        done_(std::move(answer_));
    }

private:
    template <class Value>
    void set(CURLoption option, Value value) {
        if (const auto code = curl_easy_setopt(easy_, option, value); code != CURLE_OK)
            throw std::runtime_error(std::string("a web request cannot be made: ") +
                                     curl_easy_strerror(code));
    }
    void add(const char* header) {
        curl_slist* longer = curl_slist_append(headers_, header);
        if (!longer)
            throw std::bad_alloc();
        headers_ = longer;
    }
    static std::size_t take(char* data, std::size_t one, std::size_t count, void* self) {
        auto& transfer = *static_cast<Transfer*>(self);
        const std::size_t size = one * count;
        transfer.tooLarge_ = transfer.answer_.body.size() + size > transfer.request_.answerBytes;
        if (transfer.tooLarge_)
            return 0;
        transfer.answer_.body.append(data, size);
        return size;
    }
    void fail(Failure failure, const std::string& what) {
        answer_.failure = failure;
        answer_.problem = host_ + ": " + what;
        wipe(answer_.body);
    }
    void failRedirected() {
        const char* target = nullptr;
        curl_easy_getinfo(easy_, CURLINFO_REDIRECT_URL, &target);
        const auto url = target ? Url::parse(target) : std::nullopt;
        fail(Failure::Redirected,
             "sends the request elsewhere" + (url ? " (" + url->host + ")" : "") + ", which is not followed");
    }

    const HttpRequest request_;
    const std::string host_;
    const HttpDone done_;
    CURL* easy_;
    curl_slist* headers_ = nullptr;
    std::array<char, CURL_ERROR_SIZE> error_{};
    HttpAnswer answer_;
    bool tooLarge_ = false;
};

NetworkThread::NetworkThread()
    : multi_(newMulti()), alarm_(::timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK)) {
    if (alarm_.get() < 0) {
        curl_multi_cleanup(multi_);
        throw std::runtime_error("the system gives no timer: out of descriptors?");
    }
    thread_ = std::thread([this] { run(); });
}

NetworkThread::~NetworkThread() {
    stop();
    curl_multi_cleanup(multi_);
}

void NetworkThread::stop() {
    if (!thread_.joinable())
        return;
    std::vector<std::function<void()>> dropped;
    {
        const foundation::MutexLock lock(mutex_);
        ending_ = true;
        dropped.swap(posted_);
    }
    curl_multi_wakeup(multi_);
    thread_.join();
    for (auto& [easy, transfer] : transfers_)
        curl_multi_remove_handle(multi_, easy);
    transfers_.clear();
    timers_.clear();
    readings_.clear();
}

void NetworkThread::post(std::function<void()> work) {
    {
        const foundation::MutexLock lock(mutex_);
        if (!ending_)
            posted_.push_back(std::move(work));
    }
    curl_multi_wakeup(multi_);
}

void NetworkThread::after(BootClock::duration delay, std::function<void()> work) {
    post([this, due = BootClock::now() + delay, work = std::move(work)]() mutable {
        timers_.emplace(due, std::move(work));
    });
}

void NetworkThread::send(HttpRequest request, HttpDone done) {
    post([this, request = std::move(request), done = std::move(done)]() mutable {
        const auto url = Url::parse(request.url);
        HttpAnswer refused;
        refused.failure = Failure::NotAllowed;
        if (!url || !url->isSafe()) {
            refused.problem = (url ? url->host : request.url.substr(0, 200)) +
                              ": is asked by https only (by http on this machine)";
            done(std::move(refused));
            return;
        }
        try {
            auto transfer = std::make_unique<Transfer>(std::move(request), *url, done);
            if (curl_multi_add_handle(multi_, transfer->easy()) != CURLM_OK)
                throw std::bad_alloc();
            transfers_.emplace(transfer->easy(), std::move(transfer));
        } catch (const std::exception& error) {
            refused.failure = Failure::Broken;
            refused.problem = url->host + ": " + error.what();
            done(std::move(refused));
        }
    });
}

void NetworkThread::readAll(foundation::UniqueFd file, std::size_t most,
                            std::function<void(std::string)> done) {
    const int flags = ::fcntl(file.get(), F_GETFL);
    ::fcntl(file.get(), F_SETFL, flags | O_NONBLOCK);
    auto shared = std::make_shared<Reading>(Reading{std::move(file), most, {}, std::move(done)});
    post([this, shared] { readings_.push_back(std::move(*shared)); });
}

void NetworkThread::run() {
    while (!ending_) {
        runPosted();
        runDueTimers();
        int running = 0;
        curl_multi_perform(multi_, &running);
        finishTransfers();
        wait();
    }
}

void NetworkThread::runPosted() {
    for (;;) {
        std::vector<std::function<void()>> some;
        {
            const foundation::MutexLock lock(mutex_);
            some.swap(posted_);
        }
        if (some.empty() || ending_)
            return;
        for (auto& work : some)
            work();
    }
}

void NetworkThread::runDueTimers() {
    while (!timers_.empty() && timers_.begin()->first <= BootClock::now() && !ending_)
        timers_.extract(timers_.begin()).mapped()();
}

void NetworkThread::finishTransfers() {
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(multi_, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        const auto code = message->data.result; // the message goes with the handle
        CURL* const easy = message->easy_handle;
        curl_multi_remove_handle(multi_, easy);
        const auto done = transfers_.extract(easy);
        done.mapped()->finish(code);
    }
}

void NetworkThread::wait() {
    {
        const foundation::MutexLock lock(mutex_);
        if (!posted_.empty())
            return;
    }
    itimerspec due{};
    if (!timers_.empty()) {
        // A timer of zero is none at all.
        const auto at = std::max<std::int64_t>(1, timers_.begin()->first.time_since_epoch().count());
        due.it_value = {at / 1000, at % 1000 * 1'000'000};
    }
    ::timerfd_settime(alarm_.get(), TFD_TIMER_ABSTIME, &due, nullptr);
    std::vector<curl_waitfd> files{{alarm_.get(), CURL_WAIT_POLLIN, 0}};
    for (const auto& reading : readings_)
        files.push_back({reading.file.get(), CURL_WAIT_POLLIN, 0});
    curl_multi_poll(multi_, files.data(), static_cast<unsigned>(files.size()), longestWait, nullptr);
    std::vector<Reading> ended;
    std::erase_if(readings_, [&](Reading& reading) {
        const bool end = read(reading);
        if (end)
            ended.push_back(std::move(reading));
        return end;
    });
    for (auto& reading : ended)
        reading.done(std::move(reading.text));
}

bool NetworkThread::read(Reading& reading) {
    std::array<char, 4096> some{};
    for (;;) {
        const auto got = ::read(reading.file.get(), some.data(), some.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0 && errno == EAGAIN)
            return false;
        if (got <= 0)
            return true;
        reading.text.append(some.data(), static_cast<std::size_t>(got));
        wipe({some.data(), static_cast<std::size_t>(got)});
        if (reading.text.size() >= reading.most)
            return true;
    }
}

} // namespace hshd::net
