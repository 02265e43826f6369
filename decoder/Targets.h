#pragma once

#include "OptimizationTarget.h"
#include "TargetList.h"

// What the templates have to know of the targets, so that another target is added here and not in each of them.

// Whether a target computes in the vector forms: with fused multiplications, in groups of pixels, with counts that are
// not taken modulo 64. Baseline computes in the plain forms.
template <OptimizationTarget target>
inline constexpr bool kHasVectorForms = target != OptimizationTarget::Baseline;

// Declares that the instances of a class template are compiled elsewhere: that of Baseline in the class's own unit,
// those of other targets in the units of the targets, which are compiled where TargetList.h names them. Further
// arguments of the template follow its name.
#define RAVELO_INSTANCES_ELSEWHERE(...) RAVELO_FOR_EACH_TARGET_AND(RAVELO_INSTANCE_ELSEWHERE, __VA_ARGS__)
#define RAVELO_INSTANCE_ELSEWHERE(target, name, ...) extern template class name<target __VA_OPT__(, ) __VA_ARGS__>;
