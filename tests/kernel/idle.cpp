// SPDX-License-Identifier: MIT
// Executes instructions that do nothing while the guest has nothing to do. The guest's clock counts instructions; with
// none to execute it would follow the host's clock, and a host that is busy would make the guest late.
#include <sched.h>

int main()
{
    const sched_param none{};
    if (sched_setscheduler(0, SCHED_IDLE, &none) != 0)
        return 1;
    for (;;)
        asm volatile("nop\n nop\n nop");
}
