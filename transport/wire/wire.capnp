# The messages between a client process and the daemon.
#
# Model
#   One Unix-domain stream connection per client process, at most. Each side sends frames: a header of eight bytes (see
#   wire/FrameBuffer.h) and one Message in the standard stream framing. The client speaks first, with hello; the daemon
#   answers welcome, or goodbye with a text for people, after which it closes. Afterwards
#     client -> daemon   call, callbackReply
#     daemon -> client   reply, callback, goodbye
#   in any order: replies come as they are ready, and a callback may arrive before the reply of the call that exported it.
#
# Lifetimes of ids
#   Call.id        chosen by the client, unique among its calls without a reply on this connection. The daemon answers
#                  every call once; a client that stopped waiting ignores the reply.
#   Callback.id    the same the other way round.
#   Callback.callback, ExportedCallback.id
#                  a function exported on this connection. It can be called until the client withdraws it, its limit of
#                  calls is used up, or the connection ends.
#   Call.service   the index in Welcome.services, valid for this connection.
#   Call.method    chosen by the client: once the daemon has answered a call that brought `texts`, the number alone
#                  stands for them. A call with a number that is new brings them; one that brings others than those
#                  known under its number is a malformed frame, as is a number over Welcome.methods. 0 is no number:
#                  the call always brings them.
#   Welcome.generation
#                  one uuid per start of the daemon. Another one means that everything registered with the earlier
#                  daemon is gone.
#
# Lost on disconnect
#   Every call without a reply fails, carried out or not. Every exported callback is gone. Nothing is sent again: clients
#   export and register anew.
#
# Time
#   Only durations travel (remainingMs, counted from sending), never points in time, so that the clocks of the two sides
#   do not matter. Zero or less is overdue.
#
# Evolution
#   Fields are only added, at the end. Anything an old peer would misread raises protocolVersion (see wire/Protocol.h).

@0xd1ffb8de65c5a6a5;

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("agent::spf::transport::wire");

struct Message {
  union {
    hello @0 :Hello;
    welcome @1 :Welcome;
    call @2 :Call;
    reply @3 :Reply;
    callback @4 :Callback;
    callbackReply @5 :Reply;
    goodbye @6 :Goodbye;
  }
}

struct Hello {
  protocolVersion @0 :UInt32;
  pid @1 :Int32;            # for messages to people; the daemon trusts the kernel's
  frameBytes @2 :UInt64;    # the largest frame that this side reads
  clientId @3 :Text;
  callbacks @4 :UInt32;     # how many callbacks this side takes without having answered; 0 when it does not say
}

struct Welcome {
  protocolVersion @0 :UInt32;
  frameBytes @1 :UInt64;
  generation @2 :Uuid;
  services @3 :List(Service);
  methods @4 :UInt32;       # the largest number that a method can have
}

struct Service {
  version @0 :Int32;
  revision @1 :Int32;
  ranking @2 :Int32;
  name @3 :Text;
}

struct Call {
  id @0 :UInt64;
  remainingMs @1 :Int64;
  service @2 :UInt32;
  method @3 :UInt32;
  payload @4 :List(Slot);
  texts @5 :Method;
}

struct Method {
  name @0 :Text;
  descriptor @1 :Text;      # the signature, with the method's name
}

struct Callback {
  id @0 :UInt64;
  remainingMs @1 :Int64;
  callback @2 :Uuid;
  payload @3 :List(Slot);
}

struct Reply {
  id @0 :UInt64;
  union {
    payload @1 :List(Slot);
    error @2 :Error;
  }
}

struct Error {
  kind @0 :UInt16;          # 0 remote, 1 timeout, 2 disconnected, 3 malformed, 4 refused,
                            # 5 withdrawn (the called function is gone; only in a callbackReply); others are read as remote
  text @1 :Text;            # for people, unchanged from end to end; holds no argument or result
}

struct Goodbye {
  text @0 :Text;
}

# UTF-16 code units, least significant byte first; any, unpaired surrogates too.
using Utf16 = Data;

# One value of a payload. `polymorphic` marks a value that stands for a derived type.
struct Slot {
  polymorphic @0 :Bool;
  union {
    empty @1 :Void;
    boolean @2 :Bool;
    int32 @3 :Int32;
    uint32 @4 :UInt32;
    string @5 :Data;                     # any bytes
    u16string @6 :Utf16;
    uuid @7 :Uuid;
    loginInfo @8 :LoginInfo;
    loginData @9 :LoginData;
    negotiationTerms @10 :UInt32;
    negotiatorResponse @11 :NegotiatorResponse;
    negotiationsResult @12 :NegotiationsResult;
    accessTokenResponse @13 :AccessTokenResponse;
    noLoginInfo @14 :Void;               # an optional LoginInfo without a value
    someLoginInfo @15 :LoginInfo;        # one with a value
    exportedCallback @16 :ExportedCallback;
  }
}

struct Uuid {
  high @0 :UInt64;          # the first eight bytes, most significant first
  low @1 :UInt64;
}

struct LoginInfo {
  level @0 :Int32;
  accountType @1 :Int32;
  userId @2 :Utf16;
  displayName @3 :Utf16;
  givenName @4 :Utf16;
  familyName @5 :Utf16;
  locale @6 :Data;
  email @7 :Utf16;
}

struct LoginData {
  rememberMe @0 :Bool;
  refreshToken @1 :Data;
  deviceId @2 :Data;
  accountHint @3 :Data;
  info @4 :LoginInfo;
  endpoint @5 :Data;
  sourceId @6 :Data;
}

struct NegotiatorResponse {
  decision @0 :Int32;
  message @1 :Utf16;
}

struct NegotiationsResult {
  accepted @0 :Bool;
  objections @1 :List(Utf16);
  questions @2 :List(Utf16);
}

struct AccessTokenResponse {
  status @0 :Int32;
  token @1 :Data;
}

struct ExportedCallback {
  id @0 :Uuid;
  descriptor @1 :Text;
  callLimit @2 :UInt32;
  limited @3 :Bool;         # callLimit counts only with this
}
