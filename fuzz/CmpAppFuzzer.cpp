// Enters a list file, the input's second part, into a configuration, its first: all that the configuration holds but
// old entries has to stay, in front of the new ones and behind them.

#include "FuzzTarget.h"

#include "plc/ApplicationList.h"

namespace {

const QByteArray heading = "[CmpApp]";
const QByteArray entryStart = "Application."; // what goes with an entry's line may be the heading
const QByteArray anchor = "Bootproject.RetainMismatch.Init=1";
const QByteArray defaultEntry = "Application.1=Application\n";

/** Whether `text` is `whole` with something inserted behind the line that begins with `line`. */
bool isInserted(const QByteArray &text, const QByteArray &whole, const QByteArray &line)
{
    const qsizetype end = whole.indexOf(line) + line.size() + 1;
    return text.size() >= whole.size() && text.startsWith(whole.first(qMin(end, whole.size()))) &&
           text.endsWith(whole.mid(end));
}

} // namespace

void checkInput(QByteArrayView input)
{
    const QByteArray configuration = takePart(input).toByteArray();
    const QByteArray list = input.toByteArray();

    const std::optional<QByteArray> emptied = withApplications(configuration, {});
    const std::optional<QByteArray> patched = withApplications(configuration, list);
    require(emptied.has_value() == patched.has_value());
    require(!emptied || isInserted(*patched, *emptied, heading));
    require(patched || !configuration.contains(heading) || configuration.contains(entryStart));

    const std::optional<QByteArray> byDefault = withDefaultApplication(configuration);
    require(byDefault.has_value() == configuration.contains(anchor));
    require(!byDefault || (isInserted(*byDefault, configuration, anchor) && byDefault->contains(defaultEntry)));
}
