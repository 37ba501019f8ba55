#include <thread>

#include "base/critical_section.h"
#include "base/locker.h"
#include "base/security.h"
#include "tests/windows_test.h"

namespace {

TEST(Mutex, NameStandsInTheSessionsNamespace)
{
    const std::wstring longName(300, L'x');
    const std::pair<const wchar_t*, std::wstring> rows[] = {{L"abc", L"Local\\abc"},
                                                            {L"Local\\abc", L"Local\\abc"},
                                                            {L"Local\\Local\\abc", L"Local\\abc"},
                                                            {L"Local\\Local\\Local\\abc", L"Local\\Local\\abc"},
                                                            {L"local\\abc", L"Local\\local\\abc"},
                                                            {nullptr, L"Local\\Mutex_NoName"},
                                                            {longName.c_str(), L"Local\\" + longName.substr(0, 253)}};
    for (const auto& [given, formed] : rows) {
        t_errorChain errors;
        t_criticalSection labelled;
        EXPECT_TRUE(labelled.Create(errors, given));
        EXPECT_EQ(formed, labelled.Name());
    }
}

TEST(Mutex, IsCreatedOnceOpenToEveryoneOrPrivateWithoutName)
{
    SECURITY_ATTRIBUTES* given = nullptr;
    REPLACE(create, CreateMutexW, [&](auto* security, BOOL owned, LPCWSTR name) {
        EXPECT_EQ(security == nullptr, name == nullptr);
        return create.Original(given = security, owned, name);
    });
    t_errorChain errors;
    t_mutex first, second, unnamed, otherUnnamed;
    ASSERT_NE(nullptr, OpenSecurityAttributes());
    for (t_mutex* const each : {&first, &first, &second}) {
        EXPECT_TRUE(each->Create(errors, L"tarvo_test"));
        EXPECT_EQ(OpenSecurityAttributes(), given);
    }
    EXPECT_EQ(1, create.calls);
    EXPECT_TRUE(unnamed.Create(errors, nullptr));
    EXPECT_TRUE(otherUnnamed.Create(errors, L""));
    EXPECT_TRUE(unnamed.Lock(errors));
    std::jthread([&] { EXPECT_TRUE(otherUnnamed.Lock(errors)); }).join();
}

TEST(OpenSecurity, ObjectsGrantEverythingAndFilesReadingAndWriting)
{
    ACL* objectList = nullptr;
    BOOL present = FALSE, defaulted = FALSE;
    ASSERT_TRUE(
        GetSecurityDescriptorDacl(OpenSecurityAttributes()->lpSecurityDescriptor, &present, &objectList, &defaulted));
    for (const auto& [list, mask] : {std::pair{objectList, DWORD{GENERIC_ALL}},
                                     {OpenAccessList(), DWORD{FILE_GENERIC_READ | FILE_GENERIC_WRITE}}}) {
        for (DWORD i = 0; i < 3; ++i) { // everyone, and the two kinds of packages
            void* entry = nullptr;
            ASSERT_TRUE(GetAce(list, i, &entry)) << i;
            EXPECT_EQ(mask, static_cast<ACCESS_ALLOWED_ACE*>(entry)->Mask) << i;
        }
    }
}

TEST(Mutex, FailuresAndEveryResultOfTheWait)
{
    t_errorChain errors;
    t_mutex mutex;
    EXPECT_FALSE(t_criticalSection().Lock(errors));
    {
        REPLACE(create, CreateMutexW, [](auto...) { return SetLastError(5), HANDLE{}; });
        EXPECT_FALSE(mutex.Create(errors, L"x"));
    }
    EXPECT_FALSE(mutex.Lock(errors));
    EXPECT_TRUE(mutex.DoLock(errors));
    mutex.Unlock();
    DWORD result = WAIT_OBJECT_0;
    REPLACE(wait, WaitForSingleObject, [&](HANDLE, DWORD limit) {
        EXPECT_EQ(INFINITE, limit);
        SetLastError(ERROR_INVALID_HANDLE);
        return result;
    });
    EXPECT_TRUE(mutex.Create(errors, nullptr));
    for (const auto& [answer, locked] : {std::pair{WAIT_OBJECT_0, true},
                                         {WAIT_ABANDONED, true},
                                         {DWORD{WAIT_TIMEOUT}, false},
                                         {WAIT_FAILED, false},
                                         {WAIT_IO_COMPLETION, false}}) {
        result = answer;
        EXPECT_EQ(locked, mutex.Lock(errors)) << answer;
    }
    EXPECT_EQ(
        L"t_mutex::Lock 未初始化|系统错误5|互斥量创建失败：Local\\x|t_mutex::Lock 未初始化|"
        L"获取Mutex失败：WAIT_TIMEOUT|系统错误6|获取Mutex失败|获取Mutex失败：WaitForSingleObject返回值不识别(192)",
        Entries(errors));
}

TEST(Mutex, OpensTheOneOfItsNameThatAnotherThreadHolds)
{
    t_errorChain errors;
    t_mutex holder, mutex;
    ASSERT_TRUE(holder.Create(errors, L"tarvo_test_shared"));
    ASSERT_TRUE(holder.Lock(errors));
    const DWORD holding = GetCurrentThreadId();
    REPLACE(create, CreateMutexW, [](auto...) { return nullptr; });
    REPLACE(wait, WaitForSingleObject, [&](HANDLE handle, DWORD limit) {
        return wait.Original(handle, GetCurrentThreadId() == holding ? limit : 0);
    });
    ASSERT_TRUE(mutex.Create(errors, L"Local\\tarvo_test_shared"));
    std::jthread([&] { EXPECT_FALSE(mutex.Lock(errors)); }).join();
    EXPECT_EQ(L"获取Mutex失败：WAIT_TIMEOUT", Entries(errors));
}

TEST(CriticalSection, KeepsOtherThreadsOutUntilItIsGivenBack)
{
    t_errorChain errors;
    std::optional<t_csAutoInit> section;
    CRITICAL_SECTION* system = nullptr;
    {
        REPLACE(make, InitializeCriticalSectionAndSpinCount,
                [&](CRITICAL_SECTION* made, DWORD spins) { return make.Original(system = made, spins); });
        section.emplace(L"x", 1);
    }
    for (const bool held : {true, false}) {
        EXPECT_TRUE(held ? section->Lock(errors) : (section->Unlock(), true));
        std::jthread([&] {
            const bool entered = TryEnterCriticalSection(system);
            EXPECT_EQ(held, !entered);
            entered ? LeaveCriticalSection(system) : void();
        }).join();
    }
}

TEST(Locker, GivesBackWhatItTookBeforeTheNextAndAtItsEnd)
{
    t_errorChain errors;
    t_mutex lock, other, notCreated;
    HANDLE first = nullptr;
    std::string steps; // with square brackets for the other one
    REPLACE(wait, WaitForSingleObject, [&](HANDLE mutex, DWORD) {
        first = wait.calls == 1 ? mutex : first;
        return steps += mutex == first ? '(' : '[', WAIT_OBJECT_0;
    });
    REPLACE(release, ReleaseMutex, [&](HANDLE mutex) { return steps += mutex == first ? ')' : ']', TRUE; });
    EXPECT_TRUE(lock.Create(errors, nullptr));
    EXPECT_TRUE(other.Create(errors, nullptr));
    {
        t_locker locker(&lock);
        EXPECT_TRUE(locker.Lock(errors));
        EXPECT_TRUE(locker.Lock(errors, other));
        EXPECT_EQ("()[", steps);
        EXPECT_FALSE(locker.Lock(errors, notCreated));
        EXPECT_EQ("()[]", steps);
        EXPECT_TRUE(locker.Lock(errors));
    }
    EXPECT_EQ("()[]()", steps);
    EXPECT_FALSE(t_locker(nullptr).Lock(errors));
    EXPECT_EQ(L"t_mutex::Lock 未初始化|null lock", Entries(errors));
}

} // namespace
