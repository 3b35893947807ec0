// The exception family: every failure leaves the library as a value of a class rooted in mcExc,
// announced on the debug output and to the diagnostics viewer before it is thrown.
#pragma once

#include "Core/Common/Export.h"
#include "Core/Common/Types.h"

#include <bvplatform/types.h>

#include <exception>

class BVCORE_API mcExc : public std::exception {
public:
    /// Empty texts, line 0, code 0.
    mcExc();
    /// Function and file are narrow names (active code page); the description is converted to
    /// the active code page, units it lacks replaced. `code` is an HRESULT, 0 for none.
    mcExc(const AStr& function, const AStr& file, LONG line, const TStr& description,
          LONG code = 0);
    mcExc(const mcExc& other);
    mcExc& operator=(const mcExc& other);
    ~mcExc() override;

    /// The narrow description; lives as long as the object.
    const char* what() const noexcept override;

    /// The description as TStr.
    [[nodiscard]] TStr whatT() const;
    [[nodiscard]] TStr ThrowFile() const;
    [[nodiscard]] TStr ThrowFunc() const;
    [[nodiscard]] LONG ThrowLine() const;
    /// The code field (0: no code). Not virtual: a derived class's own code stays its own.
    [[nodiscard]] LONG HResult() const;

    /// Sends the debug rendering to the debug output, in every build.
    void DumpToDbwin() const;
    /// Sends the one-line rendering to the process-wide logger.
    void Log() const;
    /// Shows the exception in a modal box under `caption`.
    void DebugMessageBox(const TStr& caption) const;

protected:
    /// Several lines for the debug output: HRESULT (if any), description, function, file(line).
    [[nodiscard]] virtual TStr MakeDbwinStr() const;
    /// The rendering for a person: type, description, function, file and line.
    [[nodiscard]] virtual TStr MakeDisplayStr() const;
    /// One line for the diagnostics viewer.
    [[nodiscard]] virtual TStr MakeLogStr() const;

    /// The readable type label of the family, as it appears in renderings: "class mcExc".
    [[nodiscard]] static TStr TypeLabel();

private:
    TStr m_throwFunc;   // qualified name of the throwing function
    TStr m_throwFile;   // source path of the throw site, as the build recorded it
    LONG m_throwLine;   // line of the throw site
    AStr m_description; // narrow, active code page; what() returns it
    LONG m_code;        // HRESULT, 0 for none
};

/// Declares a member of the family: a class that adds nothing to its base but its name, with
/// the four-argument constructor (code 0), copy constructor and destructor, exported.
#define BV_DECLARE_EXCEPTION(Name, Base)                                                           \
    class BVCORE_API Name : public Base {                                                          \
    public:                                                                                        \
        Name(const AStr& function, const AStr& file, LONG line, const TStr& description);          \
        Name(const Name& other);                                                                   \
        ~Name() override;                                                                          \
    }

/// Defines what BV_DECLARE_EXCEPTION declared, in one source file of the library: `Class` is the
/// qualified class, `Name` its own name.
#define BV_DEFINE_EXCEPTION(Class, Name, Base)                                                     \
    Class::Name(const AStr& function, const AStr& file, LONG line, const TStr& description)        \
        : Base(function, file, line, description) {}                                               \
    Class::Name(const Class& other) = default;                                                     \
    Class::~Name() = default

/// The system's text for a last-error value or an HRESULT; "Error: " and 8 hexadecimal digits
/// when the system has none. Never fails.
[[nodiscard]] BVCORE_API TStr mfGetSystemMessage(ULONG code);
