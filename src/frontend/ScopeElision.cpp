// The front end's last pass: decides where locals live at run time. Scopes without locals get no environment; a scope that makes no
// closures gives one flat frame to every block nested in it (its region), at offsets after its own
// slots. References count only the environments that exist and address the slot in the frame they
// reach. The resolver's depths and slots stay as they are; the evaluator uses `runtimeDepth` and
// `runtimeSlot`.
#include "frontend/ScopeElision.hpp"

#include "frontend/Lexer.hpp"
#include "support/StackGuard.hpp"

#include <algorithm>
#include <vector>

namespace velmar::lua
{

void classifyBodyEnd(const FunctionExpr& function) noexcept
{
    using End = FunctionExpr::BodyEnd;
    const StmtList& body = function.body;
    function.tailValue = nullptr;
    function.tailValues = nullptr;
    if (body.empty() || body.back()->kind != StmtKind::Return)
    {
        function.leadingCount = body.size();
        function.bodyEnd = End::Statements;
        return;
    }
    function.leadingCount = body.size() - 1;
    const auto& tail = static_cast<const ReturnStmt&>(*body.back());
    if (tail.values.empty())
    {
        function.bodyEnd = End::ReturnNothing;
    }
    else if (tail.values.size() == 1)
    {
        function.tailValue = tail.values[0].get();
        function.bodyEnd = function.tailValue->kind == ExprKind::Call ? End::ReturnCall : End::ReturnOne;
    }
    else
    {
        function.tailValues = &tail.values;
        function.bodyEnd = End::ReturnList;
    }
}

namespace
{

class ScopeElider
{
public:
    explicit ScopeElider(const std::string& chunkName) : chunkName_(chunkName) {}

    void chunk(const StmtList& statements)
    {
        scopes_.push_back(Scope{true, false, 0, 0, nullptr}); // a run always makes the chunk's shared environment
        block(statements);
        scopes_.pop_back();
    }

private:
    struct Scope
    {
        bool link;          // an environment of its own: leaving it outward crosses a parent link
        bool region;        // its locals live in a region's flat frame
        std::size_t base;   // where its slots start in that frame (0 outside regions)
        std::size_t end;    // base + its slot count: where nested blocks' slots start
        BlockFrame* root;   // the frame that holds the region's slots
    };

    // Fills in the run-time depth and slot of a local reference; -1 for a global.
    void locate(std::int32_t depth, std::size_t slot, std::int32_t& runtimeDepth, std::uint32_t& runtimeSlot) const
    {
        if (depth < 0)
        {
            runtimeDepth = -1;
            return;
        }
        std::int32_t walked = 0;
        const std::size_t innermost = scopes_.size() - 1;
        for (std::int32_t i = 0; i < depth; ++i)
        {
            walked += scopes_[innermost - static_cast<std::size_t>(i)].link ? 1 : 0;
        }
        runtimeDepth = walked;
        runtimeSlot = static_cast<std::uint32_t>(scopes_[innermost - static_cast<std::size_t>(depth)].base + slot);
    }

    void guard(std::uint32_t line) const
    {
        if (zq::stackExhausted())
        {
            failParse(chunkName_, line, 1, "nesting too deep");
        }
    }

    void scope(const StmtList& body, std::size_t slotCount, bool noFunctions, BlockFrame& frame)
    {
        const Scope& outer = scopes_.back();
        Scope inner{false, false, 0, 0, nullptr};
        if (outer.region)
        {
            // Inside a region: slots after everything enclosing it; siblings reuse the same room.
            inner = Scope{false, true, outer.end, outer.end + slotCount, outer.root};
            frame = BlockFrame{slotCount > 0 ? BlockFrame::Mode::Member : BlockFrame::Mode::None,
                               static_cast<std::uint32_t>(inner.base), 0};
            inner.root->size = std::max<std::uint32_t>(inner.root->size, static_cast<std::uint32_t>(inner.end));
        }
        else if (slotCount > 0)
        {
            frame = BlockFrame{BlockFrame::Mode::Own, 0, static_cast<std::uint32_t>(slotCount)};
            inner = Scope{true, noFunctions, 0, slotCount, &frame};
        }
        else
        {
            frame = BlockFrame{};
        }
        scopes_.push_back(inner);
        block(body);
        scopes_.pop_back();
    }

    void block(const StmtList& statements)
    {
        for (const StmtPtr& statement : statements)
        {
            this->statement(*statement);
        }
    }

    void target(const AssignTarget& target)
    {
        locate(target.depth, target.slot, target.runtimeDepth, target.runtimeSlot);
        expression(target.object);
        expression(target.index);
    }

    void list(const std::vector<ExprPtr>& exprs)
    {
        for (const ExprPtr& expr : exprs)
        {
            expression(expr);
        }
    }

    void statement(const Stmt& statement)
    {
        guard(statement.line);
        switch (statement.kind)
        {
        case StmtKind::Expression: expression(static_cast<const ExpressionStmt&>(statement).expression); return;
        case StmtKind::Assignment:
        {
            const auto& assignment = static_cast<const AssignmentStmt&>(statement);
            list(assignment.values);
            for (const AssignTarget& each : assignment.targets)
            {
                target(each);
            }
            return;
        }
        case StmtKind::FunctionDeclaration:
        {
            const auto& declaration = static_cast<const FunctionDeclarationStmt&>(statement);
            target(declaration.target);
            function(*declaration.function);
            return;
        }
        case StmtKind::If:
        {
            const auto& conditional = static_cast<const IfStmt&>(statement);
            for (const IfStmt::Branch& branch : conditional.branches)
            {
                expression(branch.condition);
                scope(branch.body, branch.slotCount, branch.noFunctions, branch.frame);
            }
            if (!conditional.elseBody.empty())
            {
                scope(conditional.elseBody, conditional.elseSlotCount, conditional.elseNoFunctions, conditional.elseFrame);
            }
            return;
        }
        case StmtKind::While:
        {
            const auto& loop = static_cast<const WhileStmt&>(statement);
            expression(loop.condition);
            scope(loop.body, loop.slotCount, loop.noFunctions, loop.frame);
            return;
        }
        case StmtKind::NumericFor:
        {
            const auto& loop = static_cast<const NumericForStmt&>(statement);
            expression(loop.start);
            expression(loop.limit);
            expression(loop.step);
            scope(loop.body, loop.slotCount, loop.noFunctions, loop.frame);
            return;
        }
        case StmtKind::GenericFor:
        {
            const auto& loop = static_cast<const GenericForStmt&>(statement);
            list(loop.iterators);
            scope(loop.body, loop.slotCount, loop.noFunctions, loop.frame);
            return;
        }
        case StmtKind::Return: list(static_cast<const ReturnStmt&>(statement).values); return;
        case StmtKind::Break: return;
        }
    }

    void function(const FunctionExpr& function)
    {
        scope(function.body, function.slotCount, function.noFunctions, function.frame);
        function.leanFrame = function.noFunctions && function.frame.size < kListItemsPerStep;
        classifyBodyEnd(function);
    }

    void expression(const ExprPtr& expr)
    {
        if (!expr)
        {
            return;
        }
        guard(expr->line);
        switch (expr->kind)
        {
        case ExprKind::Literal: return;
        case ExprKind::Variable:
        {
            const auto& variable = static_cast<const VariableExpr&>(*expr);
            locate(variable.depth, variable.slot, variable.runtimeDepth, variable.runtimeSlot);
            return;
        }
        case ExprKind::Unary: expression(static_cast<const UnaryExpr&>(*expr).operand); return;
        case ExprKind::Binary:
        {
            const auto& binary = static_cast<const BinaryExpr&>(*expr);
            expression(binary.left);
            expression(binary.right);
            return;
        }
        case ExprKind::Table:
            for (const TableExpr::Field& field : static_cast<const TableExpr&>(*expr).fields)
            {
                expression(field.key);
                expression(field.value);
            }
            return;
        case ExprKind::Field: expression(static_cast<const FieldExpr&>(*expr).object); return;
        case ExprKind::Index:
        {
            const auto& index = static_cast<const IndexExpr&>(*expr);
            expression(index.object);
            expression(index.index);
            return;
        }
        case ExprKind::Call:
        {
            const auto& call = static_cast<const CallExpr&>(*expr);
            expression(call.object);
            expression(call.callee);
            list(call.arguments);
            call.plainArguments = call.arguments.size() < kListItemsPerStep &&
                                  (call.arguments.empty() || call.arguments.back()->kind != ExprKind::Call);
            return;
        }
        case ExprKind::Function: function(static_cast<const FunctionExpr&>(*expr)); return;
        }
    }

    const std::string& chunkName_;
    std::vector<Scope> scopes_;
};

} // namespace

void elideEmptyScopes(const StmtList& statements, const std::string& chunkName)
{
    ScopeElider(chunkName).chunk(statements);
}

} // namespace velmar::lua
