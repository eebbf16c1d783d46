#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

/// The fake below Apple's headers: it does what a test's script says, writes down what it is asked
/// for, and keeps watch over who owns what.
namespace sorvane::test::macos {

/// An object as a framework hands it out. It stays in memory after its last release, so that a
/// later use is noticed.
struct Object {
    explicit Object(std::string kindName) : kind(std::move(kindName)) {}
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object() = default;

    std::string kind;
    int references = 1;
    bool constant = false; ///< belongs to the framework and is never released
    std::vector<const Object*> holds;
};

/// What the reader finds in the file, and what drawing it leaves in the frame.
struct Picture {
    using Declared = std::variant<std::monostate, std::int64_t, double, std::string>;

    Declared width = std::int64_t{2};
    Declared height = std::int64_t{1};
    Declared orientation;
    Declared profile;
    std::size_t decodedWidth = 2;
    std::size_t decodedHeight = 1;
    std::vector<std::uint8_t> pixels = {1, 2, 3, 4, 5, 6, 7, 8};
};

struct Notification {
    std::string name;
    std::string object;
    bool hasUserInfo;
    bool immediate;
};

/// The surroundings of one test; its end fails the test if an object was left, released too often
/// or used after its end.
class FakeSystem {
  public:
    FakeSystem();
    FakeSystem(const FakeSystem&) = delete;
    FakeSystem& operator=(const FakeSystem&) = delete;
    ~FakeSystem();

    static FakeSystem& current();

    // The script.
    Picture picture;
    std::set<std::string> failing; ///< functions that give nothing, or an error; socket options
    std::string throwing;          ///< a function that throws
    std::set<std::string, std::less<>> existing; ///< paths of files
    std::string processPath;                     ///< what proc_pidpath puts into the buffer
    int processPathLength = 0;                   ///< and what it answers
    std::vector<std::string> arguments;
    long presentBytes = 0; ///< in every data object, beside what is appended
    bool digests = true;   ///< false: what is digested is counted and not read

    // What happened.
    std::vector<std::string> calls;
    std::vector<std::string> faults;
    std::vector<Notification> notifications;
    std::vector<std::uint32_t> digestedLengths;
    std::size_t composedCharactersAsked = 0;

    /// Writes a call down; whether it is to succeed.
    bool called(const std::string& function, const std::string& detail = "");
    template<class Kind>
    Kind* adopt(std::unique_ptr<Kind> object) {
        Kind* raw = object.get();
        objects_.push_back(std::move(object));
        return raw;
    }
    static void retain(const Object* object);
    void release(const Object* object);

    /// The object behind a reference; a fault when it is at its end, an exception when it is null.
    template<class Kind>
    const Kind& use(const Kind* object, const char* function) {
        check(object, function);
        return *object;
    }
    void check(const Object* object, const char* function);

  private:
    std::vector<std::unique_ptr<Object>> objects_;
};

} // namespace sorvane::test::macos
