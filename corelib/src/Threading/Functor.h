// Callbacks and queued calls. Functor<R, A1..A6> names a family of callables
// with a virtual Execute: Signature is the abstract callable, Method<T> binds
// an object and one of its member functions, Function wraps a free function.
// Signature::Bind() turns a callable into an argument-less Bound<R> that can be
// queued and executed later; SharedPtr shares such objects between owners.
// Functors::Functor0/Functor1 are the smaller call-operator family the state
// machine uses.
// Threading: no locks. A callable may be called from any thread its target
// allows; a SharedPtr's count is a plain int, so one SharedPtr (and its copies)
// must be touched by one thread at a time.
#ifndef CORELIB_THREADING_FUNCTOR_H
#define CORELIB_THREADING_FUNCTOR_H

#include <tuple>
#include <type_traits>
#include <utility>

namespace Core
{

// An argument-less call that can be queued and executed later.
template <typename R>
class Bound
{
public:
    virtual ~Bound() {}
    // Makes the call and returns its result.
    virtual R Execute() = 0;
};

namespace FunctorDetail
{

// The nested types of one Functor, for the argument list Args (voids removed).
template <typename R, typename... Args>
class Family
{
public:
    // Abstract callable taking Args and returning R.
    class Signature
    {
    public:
        // Calls the target with args and returns its result.
        virtual R Execute(Args... args) = 0;
        virtual ~Signature() {}

        // A new Bound<R> that calls Execute on this signature with copies of
        // args. The caller owns the result; this signature is borrowed and must
        // outlive it (deleting the bound call leaves the signature alone).
        Bound<R>* Bind(Args... args) { return new BoundCall(this, std::forward<Args>(args)...); }

    private:
        // The bound call made by Bind(): a borrowed signature plus stored arguments.
        class BoundCall : public Bound<R>
        {
        public:
            template <typename... Given>
            explicit BoundCall(Signature* signature, Given&&... given)
                : m_signature(signature), m_arguments(std::forward<Given>(given)...)
            {
            }

            R Execute() override
            {
                return std::apply([this](auto&... stored) { return m_signature->Execute(stored...); },
                                  m_arguments);
            }

        private:
            Signature* m_signature;
            std::tuple<std::decay_t<Args>...> m_arguments;
        };
    };

    // Calls a member function of T on an object that it borrows.
    // Requires: the object outlives this callable.
    template <typename T>
    class Method : public Signature
    {
    public:
        // A member function of T taking Args and returning R.
        typedef R (T::*MemberFunction)(Args...);

        // Calls member on object, which is borrowed.
        Method(T* object, MemberFunction member) : m_object(object), m_member(member) {}

        // Calls the member function on the object with args.
        R Execute(Args... args) override { return (m_object->*m_member)(std::forward<Args>(args)...); }

    private:
        T* m_object;
        MemberFunction m_member;
    };

    // Calls a free function.
    class Function : public Signature
    {
    public:
        // A free function taking Args and returning R.
        typedef R (*FreeFunction)(Args...);

        // Calls function.
        explicit Function(FreeFunction function) : m_function(function) {}

        // Calls the function with args.
        R Execute(Args... args) override { return m_function(std::forward<Args>(args)...); }

    private:
        FreeFunction m_function;
    };
};

// Drops the void positions of a Functor's argument list.
template <typename R, typename Done, typename... Rest>
struct Strip;

// No position left: the family of the arguments kept.
template <typename R, typename... Done>
struct Strip<R, std::tuple<Done...>>
{
    // The family.
    typedef Family<R, Done...> Type;
};

// Keeps Next unless it is void, then strips the rest.
template <typename R, typename... Done, typename Next, typename... Rest>
struct Strip<R, std::tuple<Done...>, Next, Rest...>
{
    // The family.
    typedef typename std::conditional<std::is_void<Next>::value, Strip<R, std::tuple<Done...>, Rest...>,
                                      Strip<R, std::tuple<Done..., Next>, Rest...>>::type::Type Type;
};

} // namespace FunctorDetail

// The callable family for result R and up to six arguments; unused trailing
// positions are void. Functor<void> takes no arguments, Functor<void, int, int>
// takes two ints. Nested types: Signature, Method<T>, Function.
template <typename R, typename A1 = void, typename A2 = void, typename A3 = void, typename A4 = void,
          typename A5 = void, typename A6 = void>
class Functor : public FunctorDetail::Strip<R, std::tuple<>, A1, A2, A3, A4, A5, A6>::Type
{
public:
    Functor() = delete;
};

// SharedPtr's counting policy: a plain, non-atomic int count.
struct SimpleReferenceCounter
{
    // Counts one more owner.
    static void Increment(int& count) { ++count; }
    // True when the object should be deleted: the count was already 0 or has reached 0.
    static bool Decrement(int& count) { return count == 0 || --count == 0; }
};

// Shares one heap object between owners; the last owner deletes it (through a
// virtual destructor where T has one). An empty pointer (the default) holds
// nothing. The count is heap-allocated beside the object.
template <typename T, typename Counter = SimpleReferenceCounter>
class SharedPtr
{
public:
    SharedPtr() : m_count(nullptr), m_object(nullptr) {}

    // Takes ownership of object (which may be null: the count is then 0 and
    // the pointer is empty).
    explicit SharedPtr(T* object) : m_count(new int(object != nullptr ? 1 : 0)), m_object(object) {}

    // Another owner of other's object.
    SharedPtr(const SharedPtr& other) : m_count(nullptr), m_object(nullptr) { CopyFrom(other); }

    // Takes over other's share; other is left empty.
    SharedPtr(SharedPtr&& other) noexcept : m_count(other.m_count), m_object(other.m_object)
    {
        other.m_count = nullptr;
        other.m_object = nullptr;
    }

    // Gives up this owner's share, then shares other's object.
    SharedPtr& operator=(const SharedPtr& other)
    {
        if (this != &other)
        {
            Release();
            CopyFrom(other);
        }
        return *this;
    }

    // Gives up this owner's share, then takes over other's; other is left empty.
    SharedPtr& operator=(SharedPtr&& other) noexcept
    {
        if (this != &other)
        {
            Release();
            std::swap(m_count, other.m_count);
            std::swap(m_object, other.m_object);
        }
        return *this;
    }

    ~SharedPtr() { Release(); }

    // The object. Requires: the pointer is not empty.
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }
    // The object, or null for an empty pointer.
    T* Get() const { return m_object; }
    // True when the pointer holds no object.
    bool IsEmpty() const { return m_object == nullptr; }
    // True when the pointer holds an object.
    explicit operator bool() const { return m_object != nullptr; }

    // The number of owners, 0 for an empty pointer.
    int UseCount() const { return m_count != nullptr ? *m_count : 0; }

    // Gives up this owner's share (deleting the object if it was the last)
    // and leaves the pointer empty.
    void Release()
    {
        if (m_count != nullptr && m_object != nullptr)
        {
            if (Counter::Decrement(*m_count))
            {
                Destroy(m_count, m_object);
            }
        }
        else
        {
            // A count made for a null object belongs to this pointer alone
            // (copies never share it), so it is freed here.
            delete m_count;
        }
        m_count = nullptr;
        m_object = nullptr;
    }

private:
    // Frees the count and the object. Out of line on purpose: inlined into a
    // caller that holds several owners, g++ cannot tell that the count was
    // above one and warns of a use after free for the owners released later.
    [[gnu::noinline]] static void Destroy(int* count, T* object)
    {
        delete count;
        delete object;
    }

    // Shares other's object; copies of an empty pointer stay countless.
    void CopyFrom(const SharedPtr& other)
    {
        m_object = other.m_object;
        if (m_object == nullptr)
        {
            return;
        }
        if (other.m_count == nullptr)
        {
            m_count = new int(1);
            return;
        }
        m_count = other.m_count;
        Counter::Increment(*m_count);
    }

    int* m_count;
    T* m_object;
};

// The call-operator family of callbacks held (never owned) by the state machine.
namespace Functors
{

// An argument-less callback returning R.
template <typename R>
class Functor0
{
public:
    // Makes the call.
    virtual R operator()() = 0;
    virtual ~Functor0() {}
};

// A one-argument callback returning R.
template <typename R, typename A>
class Functor1
{
public:
    // Makes the call with argument.
    virtual R operator()(A argument) = 0;
    virtual ~Functor1() {}
};

} // namespace Functors

} // namespace Core

#endif
