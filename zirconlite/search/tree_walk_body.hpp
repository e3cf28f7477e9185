// The walk down a search tree. Included once by each path (vectors, portable), inside a namespace that has
// defined before:
//   ZR_TARGET       the attribute of every function of the path
//   wide_ray        a ray as the path's tests take it; ZR_TARGET wide_ray widen(const ray&)
//   hit_children    bit i of the result: child i's box is entered not beyond `limit`; near[i] is where
//   hit_block       bit i: triangle i is hit within [t_min, t_high]; its distance and weights
// Both tests are inlined into the walk, so it is compiled for the path as a whole.
// NOLINTBEGIN(misc-definitions-in-headers)

/// A part of the tree that is still to be visited.
struct waiting
{
    float near;
    uint32_t reference;
};

/// Nodes on a path down are at most 24 uneven and 32 halving levels, each leaving seven children behind.
constexpr int stack_room = 512;

/// A distance as the f32 box test may take it: never too small.
ZR_TARGET inline float box_limit(double t)
{
    constexpr double margin = 1.0 + 2e-6;
    return t < 1e30 ? float(t * margin) : FLT_MAX;
}

/// Starts to load a child that waits for its turn. What follows a run's number is loaded in vain, which
/// does no harm.
ZR_TARGET inline void expect(const search_tree& tree, uint32_t reference)
{
    static_assert(sizeof(tree_node) == sizeof(triangle_block));
    const char* base = reinterpret_cast<const char*>(
        (reference & reference_kind) == reference_node ? static_cast<const void*>(tree.nodes) : tree.blocks);
    const char* child = base + size_t(reference & reference_number) * sizeof(tree_node);
    __builtin_prefetch(child);
    __builtin_prefetch(child + 64);
}

/// Puts the children that were hit on the stack, the nearest on top.
ZR_TARGET inline int push_children(
    const search_tree& tree, const tree_node& node, unsigned hits, const float* near, waiting* stack, int top)
{
    const int first = top;
    for (; hits; hits &= hits - 1)
    {
        const int lane = __builtin_ctz(hits);
        const waiting child = { near[lane], node.children[lane] };
        expect(tree, child.reference);
        int place = top++;
        for (; place > first && stack[place - 1].near < child.near; --place)
        {
            stack[place] = stack[place - 1];
        }
        stack[place] = child;
    }
    return top;
}

/// The nearest triangle so far; objects of other kinds store their hits in the ray themselves.
struct nearest_triangle
{
    double t, w1, w2;
    uint32_t number; ///< UINT32_MAX: what the ray holds has no number, or is nearer
    bool found;      ///< a triangle is the best hit
};

/// A triangle's hit, as the ray has it before complete_hit.
ZR_TARGET inline void store_located(ray& r, scene_object* object, double t, double w1, double w2)
{
    const double w = w1 + w2;
    r.hit_t = t;
    r.hit_object = object;
    r.hit_element = 0;
    r.element_coords[0] = w2;
    r.element_coords[1] = w1;
    r.element_coords[2] = 1.0 - (w < 1.0 ? w : 1.0);
}

ZR_TARGET inline void take_block_hits(
    const triangle_block& block, const wide_ray& w, scene_object* const* objects, nearest_triangle& best)
{
    double t[block_width], w1[block_width], w2[block_width];
    for (unsigned hits = hit_block(block, w, best.t, t, w1, w2); hits; hits &= hits - 1)
    {
        const int lane = __builtin_ctz(hits);
        // Of hits at one distance the object made first wins.
        if (t[lane] > best.t || (t[lane] == best.t && block.numbers[lane] > best.number)) { continue; }
        best = { t[lane], w1[lane], w2[lane], block.numbers[lane], true };
        __builtin_prefetch(&objects[best.number]); // read at the end, should it stay the best
    }
}

ZR_TARGET inline void take_run_hits(
    const object_run& run, scene_object* const* objects, ray& r, nearest_triangle& best)
{
    for (const uint32_t number : run.numbers)
    {
        if (!number) { break; }
        scene_object* object = objects[number];
        if (best.found)
        {
            // What an object of another kind has to beat is the best triangle.
            r.hit_t = best.t;
            r.hit_object = objects[best.number];
        }
        if (!object->vft->intersect(&r, object, r.t_min, r.t_max)) { continue; }
        best = { r.hit_t, 0.0, 0.0, r.hit_object->number, false };
    }
}

ZR_TARGET bool nearest_hit(const search_tree& tree, scene_object* const* objects, ray& r)
{
    if (tree.root == reference_none) { return false; }
    const double start_t = r.hit_t;
    scene_object* const start_object = r.hit_object;
    const wide_ray w = widen(r);
    nearest_triangle best = { r.hit_t < r.t_max ? r.hit_t : r.t_max, 0.0, 0.0,
        r.hit_object && r.hit_t <= r.t_max ? r.hit_object->number : UINT32_MAX, false };
    float limit = box_limit(best.t);
    waiting stack[stack_room];
    int top = 0;
    uint32_t reference = tree.root;
    for (;;)
    {
        const uint32_t number = reference & reference_number;
        if ((reference & reference_kind) == reference_node)
        {
            const tree_node& node = tree.nodes[number];
            float near[tree_width];
            const unsigned hits = hit_children(node, w, limit, near);
            if (hits)
            {
                const int first = __builtin_ctz(hits);
                const unsigned others = hits & (hits - 1);
                reference = node.children[first];
                if (!others) { continue; }
                if (!(others & (others - 1)))
                {
                    const int second = __builtin_ctz(others);
                    const bool in_order = near[first] <= near[second];
                    stack[top++] = { near[in_order ? second : first],
                        node.children[in_order ? second : first] };
                    if (!in_order) { reference = node.children[second]; }
                    expect(tree, stack[top - 1].reference);
                    continue;
                }
                top = push_children(tree, node, hits, near, stack, top);
                reference = stack[--top].reference;
                continue;
            }
        }
        else if ((reference & reference_kind) == reference_block)
        {
            take_block_hits(tree.blocks[number], w, objects, best);
            limit = box_limit(best.t);
        }
        else
        {
            take_run_hits(tree.runs[number], objects, r, best);
            limit = box_limit(best.t);
        }
        do {
            if (top == 0)
            {
                if (best.found) { store_located(r, objects[best.number], best.t, best.w1, best.w2); }
                return r.hit_t != start_t || r.hit_object != start_object;
            }
            --top;
        } while (stack[top].near > limit);
        reference = stack[top].reference;
    }
}

ZR_TARGET inline bool visit_block_hits(const triangle_block& block, const wide_ray& w,
    scene_object* const* objects, ray& r, hit_visitor visit, void* context)
{
    double t[block_width], w1[block_width], w2[block_width];
    for (unsigned hits = hit_block(block, w, r.t_max, t, w1, w2); hits; hits &= hits - 1)
    {
        const int lane = __builtin_ctz(hits);
        store_located(r, objects[block.numbers[lane]], t[lane], w1[lane], w2[lane]);
        if (visit(context, r)) { return true; }
    }
    return false;
}

ZR_TARGET inline bool visit_run_hits(
    const object_run& run, scene_object* const* objects, ray& r, hit_visitor visit, void* context)
{
    for (const uint32_t number : run.numbers)
    {
        if (!number) { break; }
        scene_object* object = objects[number];
        r.hit_t = ZR_FAR;
        r.hit_object = nullptr;
        if (object->vft->intersect(&r, object, r.t_min, r.t_max) && visit(context, r)) { return true; }
    }
    return false;
}

ZR_TARGET bool all_hits(
    const search_tree& tree, scene_object* const* objects, ray& r, hit_visitor visit, void* context)
{
    if (tree.root == reference_none) { return false; }
    const wide_ray w = widen(r);
    const float limit = box_limit(r.t_max);
    uint32_t stack[stack_room];
    int top = 0;
    stack[top++] = tree.root;
    while (top > 0)
    {
        const uint32_t reference = stack[--top], number = reference & reference_number;
        bool ended = false;
        if ((reference & reference_kind) == reference_node)
        {
            const tree_node& node = tree.nodes[number];
            float near[tree_width];
            // Any order will do, and sorting costs more than the nearer blockers that it finds.
            for (unsigned hits = hit_children(node, w, limit, near); hits; hits &= hits - 1)
            {
                stack[top++] = node.children[__builtin_ctz(hits)];
                expect(tree, stack[top - 1]);
            }
        }
        else if ((reference & reference_kind) == reference_block)
        {
            ended = visit_block_hits(tree.blocks[number], w, objects, r, visit, context);
        }
        else { ended = visit_run_hits(tree.runs[number], objects, r, visit, context); }
        if (ended) { return true; }
    }
    return false;
}
// NOLINTEND(misc-definitions-in-headers)
