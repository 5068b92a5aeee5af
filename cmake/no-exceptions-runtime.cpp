// The C++ runtime pieces the program would otherwise take from the static
// libstdc++: allocation and the library's error reports.
//
// The program is built without exceptions, so none of these can be caught;
// the library's own versions still construct and throw an exception object,
// which links the unwinder, the exception runtime and the name demangler of
// the terminate handler: about 100 KiB of a gateway binary that otherwise
// needs a few. Here every such failure ends the process at once, as an
// uncaught exception would.
#include <cstdlib>
#include <new>
#include <stdexcept>

void *operator new(std::size_t size)
{
	void *p = std::malloc(size ? size : 1);
	if (!p)
		std::abort();
	return p;
}

void *operator new[](std::size_t size)
{
	return operator new(size);
}

void operator delete(void *p) noexcept
{
	std::free(p);
}

void operator delete[](void *p) noexcept
{
	std::free(p);
}

void operator delete(void *p, std::size_t) noexcept
{
	std::free(p);
}

void operator delete[](void *p, std::size_t) noexcept
{
	std::free(p);
}

// Every report of libstdc++'s functexcept unit, so that unit is never linked.
namespace std {

void __throw_bad_exception()
{
	abort();
}

void __throw_bad_alloc()
{
	abort();
}

void __throw_bad_array_new_length()
{
	abort();
}

void __throw_bad_cast()
{
	abort();
}

void __throw_bad_typeid()
{
	abort();
}

void __throw_logic_error(const char *)
{
	abort();
}

void __throw_domain_error(const char *)
{
	abort();
}

void __throw_invalid_argument(const char *)
{
	abort();
}

void __throw_length_error(const char *)
{
	abort();
}

void __throw_out_of_range(const char *)
{
	abort();
}

void __throw_out_of_range_fmt(const char *, ...)
{
	abort();
}

void __throw_runtime_error(const char *)
{
	abort();
}

void __throw_range_error(const char *)
{
	abort();
}

void __throw_overflow_error(const char *)
{
	abort();
}

void __throw_underflow_error(const char *)
{
	abort();
}

} // namespace std
