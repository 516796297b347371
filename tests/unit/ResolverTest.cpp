// The resolver and the global binder: (depth, slot) per reference, slot counts, function flags, global slots.
#include "frontend/Resolver.hpp"
#include "frontend/Compiler.hpp"

#include "support/Errors.hpp"

#include <gtest/gtest.h>

#include <string>

namespace
{

using namespace velmar::lua;

// Every name reference in source order: "name@depth:slot" for locals, "name@gN" for global slot N;
// a leading "=" marks a name assigned or declared.
class References
{
  public:
    std::string text;

    void statements(const StmtList& list)
    {
        for (const StmtPtr& s : list)
        {
            statement(s);
        }
    }

  private:
    void emit(const std::string& name, std::int32_t depth, std::size_t slot, bool hasGlobal, std::size_t global)
    {
        text += (text.empty() ? "" : " ") + name + "@" +
                (depth >= 0 ? std::to_string(depth) + ":" + std::to_string(slot)
                            : (hasGlobal ? "g" + std::to_string(global) : "g?"));
    }
    void target(const AssignTarget& t)
    {
        if (t.kind == AssignTarget::Kind::Name)
        {
            emit("=" + t.name, t.depth, t.slot, t.hasGlobalSlot, t.globalSlot);
        }
        expression(t.object);
        expression(t.index);
    }
    void expressions(const std::vector<ExprPtr>& list)
    {
        for (const ExprPtr& e : list)
        {
            expression(e);
        }
    }
    void statement(const StmtPtr& s)
    {
        if (auto e = asStmt<ExpressionStmt>(s))
        {
            expression(e->expression);
        }
        else if (auto a = asStmt<AssignmentStmt>(s))
        {
            for (const AssignTarget& t : a->targets)
            {
                target(t);
            }
            expressions(a->values);
        }
        else if (auto f = asStmt<FunctionDeclarationStmt>(s))
        {
            target(f->target);
            statements(f->function->body);
        }
        else if (auto i = asStmt<IfStmt>(s))
        {
            for (const IfStmt::Branch& b : i->branches)
            {
                expression(b.condition);
                statements(b.body);
            }
            statements(i->elseBody);
        }
        else if (auto w = asStmt<WhileStmt>(s))
        {
            expression(w->condition);
            statements(w->body);
        }
        else if (auto n = asStmt<NumericForStmt>(s))
        {
            expressions({n->start, n->limit, n->step});
            statements(n->body);
        }
        else if (auto g = asStmt<GenericForStmt>(s))
        {
            expressions(g->iterators);
            statements(g->body);
        }
        else if (auto r = asStmt<ReturnStmt>(s))
        {
            expressions(r->values);
        }
    }
    void expression(const ExprPtr& e)
    {
        if (auto v = asExpr<VariableExpr>(e))
        {
            emit(v->name, v->depth, v->slot, v->hasGlobalSlot, v->globalSlot);
        }
        else if (auto u = asExpr<UnaryExpr>(e))
        {
            expression(u->operand);
        }
        else if (auto b = asExpr<BinaryExpr>(e))
        {
            expressions({b->left, b->right});
        }
        else if (auto t = asExpr<TableExpr>(e))
        {
            for (const TableExpr::Field& f : t->fields)
            {
                expressions({f.key, f.value});
            }
        }
        else if (auto f = asExpr<FieldExpr>(e))
        {
            expression(f->object);
        }
        else if (auto i = asExpr<IndexExpr>(e))
        {
            expressions({i->object, i->index});
        }
        else if (auto c = asExpr<CallExpr>(e))
        {
            expression(c->callee ? c->callee : c->object);
            expressions(c->arguments);
        }
        else if (auto fn = asExpr<FunctionExpr>(e))
        {
            statements(fn->body);
        }
    }
};

struct Compiled
{
    GlobalSlotTable globals;
    ParsedChunk chunk;
    std::string refs;
};

Compiled compile(std::string_view source)
{
    Compiled out;
    out.chunk = compileChunk(source, "t", out.globals);
    References refs;
    refs.statements(out.chunk.statements);
    out.refs = refs.text;
    return out;
}

TEST(ResolverTest, ScopeOperationsRemapAndCountOuterScopes)
{
    Resolver resolver("t");
    resolver.beginScope();
    EXPECT_EQ(resolver.declareLocal("a"), 0u);
    EXPECT_EQ(resolver.declareLocal("b"), 1u);
    EXPECT_EQ(resolver.declareLocal("a"), 2u); // the old slot stays allocated
    resolver.beginScope();
    EXPECT_EQ(resolver.declareLocal("c"), 0u);
    std::int32_t depth = -5;
    std::size_t slot = 99;
    ASSERT_TRUE(resolver.findLocal("a", depth, slot));
    EXPECT_EQ(depth, 1);
    EXPECT_EQ(slot, 2u);
    ASSERT_TRUE(resolver.findLocal("c", depth, slot));
    EXPECT_EQ(depth, 0);
    EXPECT_EQ(slot, 0u);
    EXPECT_FALSE(resolver.findLocal("zz", depth, slot));
    EXPECT_EQ(resolver.endScope(), 1u);
    EXPECT_EQ(resolver.endScope(), 3u);
}

TEST(ResolverTest, LocalsAtTopLevel)
{
    Compiled c = compile("local a = 1; local a = a + 1; print(a)");
    EXPECT_EQ(c.refs, "=a@0:0 =a@0:1 a@0:0 print@g0 a@0:1");
    EXPECT_EQ(c.chunk.localCount, 2u);
    EXPECT_EQ(compile("local x = x").refs, "=x@0:0 x@g0");
    EXPECT_EQ(compile("local x = 1 local x, y = x, y").refs, "=x@0:0 =x@0:1 =y@0:2 x@0:0 y@g0");
    EXPECT_EQ(compile("local q = 1 q = 2 local function f(n) return f(n) end").refs,
              "=q@0:0 =q@0:0 =f@0:1 f@1:1 n@0:0");
    // A block's locals live in its own scope, not the chunk's.
    c = compile("if c then local a, b end local d = d");
    EXPECT_EQ(c.refs, "c@g0 =a@0:0 =b@0:1 =d@0:0 d@g1");
    EXPECT_EQ(c.chunk.localCount, 1u);
}

TEST(ResolverTest, DepthCountsBlockAndFunctionScopesAlike)
{
    Compiled c = compile("local x = 1; if c then local y = x end");
    EXPECT_EQ(c.refs, "=x@0:0 c@g0 =y@0:0 x@1:0");
    EXPECT_EQ(asStmt<IfStmt>(c.chunk.statements.at(1))->branches.at(0).slotCount, 1u);

    c = compile("local a = 1 function g(p, q) local r = p if q then return a, r end end");
    EXPECT_EQ(c.refs, "=a@0:0 =g@g0 =r@0:2 p@0:0 q@0:1 a@2:0 r@1:2");
    EXPECT_EQ(asStmt<FunctionDeclarationStmt>(c.chunk.statements.at(1))->function->slotCount, 3u);

    c = compile("function t.u:m(a) return self, a, t end");
    EXPECT_EQ(c.refs, "t@g0 self@0:0 a@0:1 t@g0");
    EXPECT_EQ(asStmt<FunctionDeclarationStmt>(c.chunk.statements.at(0))->function->slotCount, 2u);

    c = compile("local function f(n) return f(n) end");
    EXPECT_EQ(c.refs, "=f@0:0 f@1:0 n@0:0");
    EXPECT_EQ(asStmt<FunctionDeclarationStmt>(c.chunk.statements.at(0))->function->slotCount, 1u);
}

TEST(ResolverTest, LoopVariablesShareTheBodyScope)
{
    Compiled c = compile("for i = i, 10 do local z = i end");
    EXPECT_EQ(c.refs, "i@g0 =z@0:1 i@0:0");
    auto numeric = asStmt<NumericForStmt>(c.chunk.statements.at(0));
    EXPECT_EQ(numeric->variableSlot, 0u);
    EXPECT_EQ(numeric->slotCount, 2u);

    c = compile("local t = {} for k, v in pairs(t) do local w = k end");
    EXPECT_EQ(c.refs, "=t@0:0 pairs@g0 t@0:0 =w@0:2 k@0:0");
    auto generic = asStmt<GenericForStmt>(c.chunk.statements.at(1));
    EXPECT_EQ(generic->variableSlots, (std::vector<std::size_t>{0, 1}));
    EXPECT_EQ(generic->slotCount, 3u);

    c = compile("local a while a do local b = a while b do local e = a + b end end");
    EXPECT_EQ(c.refs, "=a@0:0 a@0:0 =b@0:0 a@1:0 b@0:0 =e@0:0 a@2:0 b@1:0");
    EXPECT_EQ(asStmt<WhileStmt>(c.chunk.statements.at(1))->slotCount, 1u);
}

TEST(ResolverTest, ElsePartsGetAScopeOnlyWhenNotEmpty)
{
    auto empty = asStmt<IfStmt>(compile("if c then else end").chunk.statements.at(0));
    EXPECT_EQ(empty->elseSlotCount, 0u);
    Compiled c = compile("if c then local a else local p, q = a end");
    EXPECT_EQ(c.refs, "c@g0 =a@0:0 =p@0:0 =q@0:1 a@g1");
    auto full = asStmt<IfStmt>(c.chunk.statements.at(0));
    EXPECT_EQ(full->elseSlotCount, 2u);
    EXPECT_TRUE(full->elseNoFunctions);
}

TEST(ResolverTest, NoFunctionsLooksIntoEveryCornerOfTheBody)
{
    const auto whileFlag = [](const std::string& source)
    { return asStmt<WhileStmt>(compile(source).chunk.statements.at(0))->noFunctions; };
    EXPECT_TRUE(whileFlag("while c do x = 1 end"));
    EXPECT_FALSE(whileFlag("while c do function g() end end"));
    EXPECT_FALSE(whileFlag("while c do if d then x = function() end end end"));
    EXPECT_FALSE(whileFlag("while c do t[function() end] = 1 end"));
    EXPECT_FALSE(whileFlag("while c do f(function() end) end"));
    EXPECT_FALSE(whileFlag("while c do return {k = function() end} end"));
    EXPECT_FALSE(whileFlag("while c do while d do if e then function g() end end end end"));
    EXPECT_FALSE(whileFlag("while c do o:m(-function() end) end"));
    EXPECT_TRUE(whileFlag("while f(function() end) do local x end")); // the condition is outside the block

    EXPECT_FALSE(
        asStmt<NumericForStmt>(compile("for i = 1, 2 do local function q() end end").chunk.statements[0])->noFunctions);
    EXPECT_TRUE(asStmt<GenericForStmt>(compile("for k in function() end do end").chunk.statements[0])->noFunctions);

    auto branches =
        asStmt<IfStmt>(compile("if a then elseif b then g = function() end else x = 1 end").chunk.statements[0]);
    EXPECT_TRUE(branches->branches.at(0).noFunctions);
    EXPECT_FALSE(branches->branches.at(1).noFunctions);
    EXPECT_TRUE(branches->elseNoFunctions);
    EXPECT_FALSE(
        asStmt<IfStmt>(compile("if a then else local h = {function() end} end").chunk.statements[0])->elseNoFunctions);

    const auto functionFlag = [](const std::string& source)
    {
        auto assignment = asStmt<AssignmentStmt>(compile(source).chunk.statements.at(0));
        return asExpr<FunctionExpr>(assignment->values.at(0))->noFunctions;
    };
    EXPECT_TRUE(functionFlag("x = function() return 1 end"));
    EXPECT_FALSE(functionFlag("x = function() return function() end end"));
    EXPECT_FALSE(functionFlag("x = function() if a then function a.b() end end end"));
}

TEST(ResolverTest, GlobalSlotsAreCreatedOnFirstMentionAndStable)
{
    GlobalSlotTable globals;
    const auto slotOf = [&](const std::string& source)
    {
        ParsedChunk chunk = compileChunk(source, "t", globals);
        auto call = asExpr<CallExpr>(asStmt<ExpressionStmt>(chunk.statements.at(0))->expression);
        auto argument = asExpr<VariableExpr>(call->arguments.at(0));
        EXPECT_TRUE(argument->hasGlobalSlot);
        return argument->globalSlot;
    };
    const std::size_t first = slotOf("print(zz)");
    EXPECT_EQ(first, 1u);
    EXPECT_EQ(slotOf("print(zz)"), first);
    EXPECT_EQ(globals.size(), 2u);

    compileChunk("x = 1 y = x", "t", globals);
    EXPECT_EQ(globals.globalSlots.at("x"), 2u);
    EXPECT_EQ(globals.globalSlots.at("y"), 3u);
    ASSERT_EQ(globals.size(), 4u);

    compileChunk("local q = 1 q = x", "t", globals);
    EXPECT_EQ(globals.globalSlots.count("q"), 0u);
    EXPECT_EQ(globals.size(), 4u);

    EXPECT_THROW(compileChunk("brandNew = (", "t", globals), zq::runtime_error);
    EXPECT_EQ(globals.globalSlots.count("brandNew"), 0u);
    EXPECT_EQ(globals.resolveGlobalSlot("later"), 4u);
    EXPECT_EQ(globals.resolveGlobalSlot("x"), 2u);
}

} // namespace
