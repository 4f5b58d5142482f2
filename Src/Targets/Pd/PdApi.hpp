// Pure Data's API (m_pd.h) for the object's files. Pd names its console
// `post` and `error`, as the engine does its own, with C linkage: its
// header is read inside the namespace `pd`, and the names the object uses
// are brought out one by one, all but those two.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace pd {
#include <m_pd.h>
}

// Pd spells these types as macros ("#define t_clock struct _clock"): the
// structures they name are brought out for them.
using pd::_binbuf;
using pd::_class;
using pd::_clock;
using pd::_glist;
using pd::_inlet;
using pd::_outlet;

using pd::t_atom;
using pd::t_float;
using pd::t_floatarg;
using pd::t_int;
using pd::t_method;
using pd::t_newmethod;
using pd::t_object;
using pd::t_pd;
using pd::t_sample;
using pd::t_signal;
using pd::t_symbol;

using pd::A_CANT;
using pd::A_FLOAT;
using pd::A_GIMME;
using pd::A_NULL;
using pd::A_SYMBOL;

using pd::s_float;
using pd::s_list;
using pd::s_signal;

using pd::binbuf_add;
using pd::binbuf_free;
using pd::binbuf_gettext;
using pd::binbuf_new;
using pd::canvas_getcurrent;
using pd::canvas_getdir;
using pd::class_addanything;
using pd::class_addbang;
using pd::class_addlist;
using pd::class_addmethod;
using pd::class_domainsignalin;
using pd::class_new;
using pd::clock_delay;
using pd::clock_getlogicaltime;
using pd::clock_gettimesince;
using pd::clock_unset;
using pd::dsp_add;
using pd::freebytes;
using pd::gensym;
using pd::inlet_new;
using pd::logpost;
using pd::outlet_bang;
using pd::outlet_float;
using pd::outlet_list;
using pd::outlet_new;
using pd::outlet_symbol;
using pd::pd_bang;
using pd::pd_error;
using pd::pd_float;
using pd::pd_free;
using pd::pd_list;
using pd::pd_new;
using pd::sys_getblksize;
using pd::sys_getsr;
using pd::sys_lock;
using pd::sys_unlock;
using pd::typedmess;
