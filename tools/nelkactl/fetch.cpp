#include "fetch.h"

#include <string>

#include "interruption.h"

namespace nelkactl {

namespace {

void conclude(Call& call, Ending ending, const std::string& remark)
{
    ending.reason += (ending.reason.empty() ? "" : "; ") + remark;
    call.conclude(ending);
}

// The slave deletes a file before it answers: if the reply were lost, too large or could not be written, the file would
// be lost. So it is deleted by a second call, once the block is stored.
void remove(Call& call, int borrar, const Block& former)
{
    const std::string& name = call.file->name();
    // libcurl may send a request twice on a reused connection; the second would find no file.
    interruption::connected(call.client);
    Block deleted;
    call.client.RdFicheroEsclavo(call.value(argument::ruta), borrar, deleted.value, call.timeout);
    const Ending ending = call.ending();
    if (!call.answered())
        return conclude(call, ending, name + " holds the block, and the slave may have deleted its file");
    if (!deleted.written() || deleted.value == former.value) {
        if (ending.kind != Kind::done)
            conclude(call, ending, name + " holds the block");
        return;
    }
    const std::string kept = call.file->keepBeside({deleted.value.data(), deleted.value.size()});
    call.output("kept", kept);
    conclude(call, ending, "the file changed meanwhile: " + name + " holds the first answer, " + kept + " the second");
}

} // namespace

void fetch(Call& call)
{
    Block block;
    call.client.RdFicheroEsclavo(call.value(argument::ruta), 0, block.value, call.timeout);
    call.output(block);
    const int borrar = call.value(argument::borrar);
    const Ending ending = call.ending();
    if (borrar == 0)
        return;
    if (ending.kind != Kind::done)
        return conclude(call, ending, "the slave keeps its file");
    if (!block.written())
        return conclude(call, {Kind::faulted, 0, "no block came"}, "the slave keeps its file");
    interruption::check();
    remove(call, borrar, block);
}

} // namespace nelkactl
