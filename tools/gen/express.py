"""A reader of EXPRESS schema long forms, as far as the IFC schemas use the language.

    schema = express.parse_file("IFC4.exp")
    schema.entity("IfcRoot").explicit[0].name        # "GlobalId"

It reads one SCHEMA block with its TYPE and ENTITY declarations into a typed model.
Rule and expression texts (WHERE rules, derivations, UNIQUE rules) are kept as text:
the tokens as written, one blank wherever the source had blanks, line breaks or
comments between them. FUNCTION, PROCEDURE and RULE blocks are kept as whole texts
and not looked into. Anything else raises ExpressError with the file and line.
"""

from __future__ import annotations

import enum
import re
from dataclasses import dataclass, field
from typing import Dict, List, Optional, Tuple, Union


class ExpressError(Exception):
    def __init__(self, path: str, line: int, message: str):
        super().__init__(f"{path}:{line}: {message}")
        self.path, self.line, self.message = path, line, message


# ---- tokens ----

class TokenKind(enum.Enum):
    WORD = "word"
    NUMBER = "number"
    STRING = "string"
    SYMBOL = "symbol"
    END = "end of input"


@dataclass
class Token:
    kind: TokenKind
    text: str
    line: int
    spaced: bool                    # blanks, line breaks or a comment stand before it

    def is_word(self, *words: str) -> bool:
        return self.kind is TokenKind.WORD and self.text.upper() in words

    def is_symbol(self, *symbols: str) -> bool:
        return self.kind is TokenKind.SYMBOL and self.text in symbols


_WORD = re.compile(r"[A-Za-z_][A-Za-z0-9_]*")
_NUMBER = re.compile(r"[0-9]+(\.[0-9]*)?([eE][+-]?[0-9]+)?")
_SYMBOLS = (":<>:", ":=:", ":=", "<>", "<=", ">=", "<*", "||", "**",
            ";", ":", ",", "(", ")", "[", "]", "{", "}", "\\", ".", "=", "<", ">",
            "+", "-", "*", "/", "|", "?", "#", "$", "&", "@", "^", "%")


def tokenize(text: str, path: str = "<text>") -> List[Token]:
    """The tokens of an EXPRESS text; remarks ("(* *)", which nest, and "--" to the
    end of the line) are dropped and count as white space."""
    tokens: List[Token] = []
    i, line, n = 0, 1, len(text)
    spaced = False
    while i < n:
        c = text[i]
        if c in " \t\r\f\v":
            i, spaced = i + 1, True
        elif c == "\n":
            i, line, spaced = i + 1, line + 1, True
        elif text.startswith("(*", i):
            start, depth = line, 0
            while True:
                if i >= n:
                    raise ExpressError(path, start, "a remark '(*' is not closed by '*)'")
                if text.startswith("(*", i):
                    depth, i = depth + 1, i + 2
                elif text.startswith("*)", i):
                    depth, i = depth - 1, i + 2
                    if depth == 0:
                        break
                else:
                    line += text[i] == "\n"
                    i += 1
            spaced = True
        elif text.startswith("--", i):
            end = text.find("\n", i)
            i, spaced = (n if end < 0 else end), True
        elif c in "'\"":
            j = i + 1
            while True:
                if j >= n or text[j] == "\n":
                    raise ExpressError(path, line, "a string literal is not closed on its line")
                if text[j] == c:
                    if c == "'" and text.startswith("''", j):
                        j += 2
                        continue
                    break
                j += 1
            tokens.append(Token(TokenKind.STRING, text[i:j + 1], line, spaced))
            i, spaced = j + 1, False
        else:
            m = _WORD.match(text, i) or _NUMBER.match(text, i)
            if m:
                kind = TokenKind.WORD if m.re is _WORD else TokenKind.NUMBER
                tokens.append(Token(kind, m.group(), line, spaced))
                i, spaced = m.end(), False
                continue
            for symbol in _SYMBOLS:
                if text.startswith(symbol, i):
                    tokens.append(Token(TokenKind.SYMBOL, symbol, line, spaced))
                    i, spaced = i + len(symbol), False
                    break
            else:
                raise ExpressError(path, line, f"unexpected character {c!r}")
    tokens.append(Token(TokenKind.END, "", line, spaced))
    return tokens


def join_tokens(tokens: List[Token]) -> str:
    """Tokens back into text: one blank where the source had any white space."""
    out = []
    for k, t in enumerate(tokens):
        if k and t.spaced:
            out.append(" ")
        out.append(t.text)
    return "".join(out)


# ---- the model ----

class Primitive(enum.Enum):
    INTEGER = "integer"
    REAL = "real"
    NUMBER = "number"
    STRING = "string"
    BINARY = "binary"
    BOOLEAN = "boolean"
    LOGICAL = "logical"


class AggregateKind(enum.Enum):
    LIST = "list"
    SET = "set"
    BAG = "bag"
    ARRAY = "array"


@dataclass(frozen=True)
class SimpleType:
    primitive: Primitive
    width: Optional[str] = None     # STRING(22), BINARY(32), REAL(6): the text in parentheses
    fixed: bool = False             # STRING(22) FIXED


@dataclass(frozen=True)
class NamedType:
    name: str                       # as written where it is used


@dataclass(frozen=True)
class AggregateType:
    kind: AggregateKind
    lower: str                      # bound texts: "0", "1", "?", "UUpper"
    upper: str
    element: "TypeRef"
    unique: bool = False            # OF UNIQUE
    optional: bool = False          # ARRAY ... OF OPTIONAL


TypeRef = Union[SimpleType, NamedType, AggregateType]


@dataclass(frozen=True)
class EnumerationType:
    items: tuple


@dataclass(frozen=True)
class SelectType:
    items: tuple


class TypeKind(enum.Enum):
    """What a TYPE declaration declares."""
    SIMPLE = "defined over a primitive"
    DEFINED = "defined over another type"
    AGGREGATE = "aggregate"
    ENUMERATION = "enumeration"
    SELECT = "select"


@dataclass
class DomainRule:
    """A WHERE rule; label None where the schema gives none."""
    label: Optional[str]
    text: str


@dataclass
class TypeDecl:
    name: str
    underlying: Union[TypeRef, EnumerationType, SelectType]
    where: List[DomainRule] = field(default_factory=list)
    line: int = 0

    @property
    def kind(self) -> TypeKind:
        u = self.underlying
        if isinstance(u, SimpleType):
            return TypeKind.SIMPLE
        if isinstance(u, NamedType):
            return TypeKind.DEFINED
        if isinstance(u, AggregateType):
            return TypeKind.AGGREGATE
        if isinstance(u, EnumerationType):
            return TypeKind.ENUMERATION
        return TypeKind.SELECT


@dataclass
class AttributeRef:
    """An attribute as a UNIQUE rule or a redeclaration names it: SELF\\Entity.Name or Name."""
    name: str
    entity: Optional[str] = None    # the qualifying supertype of SELF\Entity.Name

    def __str__(self) -> str:
        return f"SELF\\{self.entity}.{self.name}" if self.entity else self.name


@dataclass
class ExplicitAttribute:
    name: str
    type: TypeRef
    optional: bool = False
    redeclares: Optional[str] = None  # SELF\Entity.Name: the supertype whose attribute this narrows
    renamed: Optional[str] = None     # SELF\Entity.Name RENAMED NewName
    line: int = 0


@dataclass
class DerivedAttribute:
    name: str
    type: TypeRef
    expression: str
    redeclares: Optional[str] = None  # SELF\Entity.Name: the supertype whose attribute turns derived
    line: int = 0


@dataclass
class InverseAttribute:
    name: str
    aggregate: Optional[AggregateKind]  # SET or BAG; None for a single reference
    lower: Optional[str]                # bound texts; None for a single reference
    upper: Optional[str]
    entity: str                         # the entity that refers
    attribute: str                      # its attribute, after FOR
    line: int = 0


@dataclass
class UniqueRule:
    label: Optional[str]
    attributes: List[AttributeRef]


class SupertypeOp(enum.Enum):
    NAME = "name"
    ONEOF = "ONEOF"
    AND = "AND"
    ANDOR = "ANDOR"


@dataclass
class SupertypeExpr:
    """The expression of SUPERTYPE OF (...): a name, or an operator over operands."""
    op: SupertypeOp
    name: str = ""
    operands: List["SupertypeExpr"] = field(default_factory=list)

    def __str__(self) -> str:
        if self.op is SupertypeOp.NAME:
            return self.name
        if self.op is SupertypeOp.ONEOF:
            return "ONEOF(" + ", ".join(str(o) for o in self.operands) + ")"
        return f" {self.op.value} ".join(
            f"({o})" if o.op in (SupertypeOp.AND, SupertypeOp.ANDOR) else str(o) for o in self.operands)

    def names(self) -> List[str]:
        if self.op is SupertypeOp.NAME:
            return [self.name]
        return [n for o in self.operands for n in o.names()]


@dataclass
class Entity:
    name: str
    abstract: bool = False
    supertype_of: Optional[SupertypeExpr] = None
    supertypes: List[str] = field(default_factory=list)
    explicit: List[ExplicitAttribute] = field(default_factory=list)
    derived: List[DerivedAttribute] = field(default_factory=list)
    inverse: List[InverseAttribute] = field(default_factory=list)
    unique: List[UniqueRule] = field(default_factory=list)
    where: List[DomainRule] = field(default_factory=list)
    line: int = 0


class AlgorithmKind(enum.Enum):
    FUNCTION = "FUNCTION"
    PROCEDURE = "PROCEDURE"
    RULE = "RULE"


@dataclass
class Algorithm:
    """A FUNCTION, PROCEDURE or RULE block, kept as its text."""
    kind: AlgorithmKind
    name: str
    text: str
    line: int = 0


@dataclass
class Schema:
    name: str
    types: List[TypeDecl] = field(default_factory=list)
    entities: List[Entity] = field(default_factory=list)
    algorithms: List[Algorithm] = field(default_factory=list)
    notes: List[str] = field(default_factory=list)  # departures from the grammar read anyway

    def __post_init__(self):
        self._index: Dict[str, Union[TypeDecl, Entity]] = {}

    def declare(self, item: Union[TypeDecl, Entity], path: str) -> None:
        key = item.name.lower()
        if key in self._index:
            raise ExpressError(path, item.line, f"{item.name} is declared twice "
                                                f"(first on line {self._index[key].line})")
        self._index[key] = item
        (self.entities if isinstance(item, Entity) else self.types).append(item)

    def lookup(self, name: str) -> Optional[Union[TypeDecl, Entity]]:
        """A type or entity by its name in any case."""
        return self._index.get(name.lower())

    def entity(self, name: str) -> Entity:
        item = self.lookup(name)
        if not isinstance(item, Entity):
            raise KeyError(f"{name} is not an entity of {self.name}")
        return item

    def type(self, name: str) -> TypeDecl:
        item = self.lookup(name)
        if not isinstance(item, TypeDecl):
            raise KeyError(f"{name} is not a type of {self.name}")
        return item


# ---- the parser ----

_SECTIONS = ("DERIVE", "INVERSE", "UNIQUE", "WHERE", "END_ENTITY")
_PRIMITIVES = {p.name: p for p in Primitive}
_AGGREGATES = {k.name: k for k in AggregateKind}


class _Parser:
    def __init__(self, text: str, path: str):
        self.path = path
        self.tokens = tokenize(text, path)
        self.pos = 0
        self.notes: List[str] = []      # departures from the grammar that were read anyway

    # -- token steps --

    @property
    def tok(self) -> Token:
        return self.tokens[self.pos]

    def peek(self, ahead: int = 1) -> Token:
        return self.tokens[min(self.pos + ahead, len(self.tokens) - 1)]

    def advance(self) -> Token:
        t = self.tok
        if t.kind is not TokenKind.END:
            self.pos += 1
        return t

    def error(self, message: str, token: Optional[Token] = None) -> ExpressError:
        return ExpressError(self.path, (token or self.tok).line, message)

    @staticmethod
    def shown(t: Token) -> str:
        return "the end of the input" if t.kind is TokenKind.END else repr(t.text)

    def expect_word(self, *words: str) -> Token:
        if not self.tok.is_word(*words):
            raise self.error(f"expected {' or '.join(words)}, found {self.shown(self.tok)}")
        return self.advance()

    def expect_symbol(self, symbol: str) -> Token:
        if not self.tok.is_symbol(symbol):
            raise self.error(f"expected '{symbol}', found {self.shown(self.tok)}")
        return self.advance()

    def name(self, what: str) -> str:
        if self.tok.kind is not TokenKind.WORD:
            raise self.error(f"expected {what}, found {self.shown(self.tok)}")
        return self.advance().text

    def accept_word(self, word: str) -> bool:
        if self.tok.is_word(word):
            self.advance()
            return True
        return False

    def accept_symbol(self, symbol: str) -> bool:
        if self.tok.is_symbol(symbol):
            self.advance()
            return True
        return False

    def names_in_parentheses(self, what: str) -> List[str]:
        self.expect_symbol("(")
        names = [self.name(what)]
        while self.accept_symbol(","):
            names.append(self.name(what))
        self.expect_symbol(")")
        return names

    def expression(self, stops=(";",), what: str = "expression") -> str:
        """The text of the tokens up to one of stops (a symbol) outside brackets."""
        start, depth, first = self.pos, 0, self.tok
        while True:
            t = self.tok
            if t.kind is TokenKind.END or t.is_word("END_ENTITY", "END_TYPE", "END_SCHEMA", "ENTITY", "TYPE"):
                raise self.error(f"the {what} that begins on line {first.line} is not closed by "
                                 f"'{stops[0]}'", first)
            if depth == 0 and t.kind is TokenKind.SYMBOL and t.text in stops:
                break
            if t.is_symbol("(", "[", "{"):
                depth += 1
            elif t.is_symbol(")", "]", "}"):
                depth -= 1
                if depth < 0:
                    raise self.error(f"unbalanced {t.text!r} in the {what}")
            self.advance()
        if self.pos == start:
            raise self.error(f"expected an {what}, found {self.shown(self.tok)}")
        return join_tokens(self.tokens[start:self.pos])

    # -- schema --

    def schema(self) -> Schema:
        self.expect_word("SCHEMA")
        schema = Schema(self.name("a schema name"))
        self.expect_symbol(";")
        while not self.tok.is_word("END_SCHEMA"):
            t = self.tok
            if t.is_word("TYPE"):
                schema.declare(self.type_decl(), self.path)
            elif t.is_word("ENTITY"):
                schema.declare(self.entity(), self.path)
            elif t.is_word("FUNCTION", "PROCEDURE", "RULE"):
                schema.algorithms.append(self.algorithm())
            elif t.kind is TokenKind.END:
                raise self.error("the schema is not closed by END_SCHEMA")
            else:
                raise self.error(f"expected TYPE, ENTITY, FUNCTION, PROCEDURE, RULE or END_SCHEMA, "
                                 f"found {self.shown(t)}")
        self.advance()
        self.expect_symbol(";")
        if self.tok.kind is not TokenKind.END:
            raise self.error(f"text after END_SCHEMA: {self.shown(self.tok)}")
        schema.notes = self.notes
        return schema

    def algorithm(self) -> Algorithm:
        """FUNCTION, PROCEDURE and RULE blocks, nested ones included, up to their END_."""
        first = self.advance()
        kind = AlgorithmKind(first.text.upper())
        name = self.name(f"a {kind.value} name")
        start, depth = self.pos - 2, 1
        while depth:
            t = self.advance()
            if t.kind is TokenKind.END:
                raise self.error(f"{kind.value} {name} of line {first.line} has no END_{kind.value}", first)
            if t.is_word("FUNCTION", "PROCEDURE") and not self.tokens[self.pos - 2].is_symbol(":"):
                depth += 1
            elif t.is_word("END_FUNCTION", "END_PROCEDURE", "END_RULE"):
                depth -= 1
        self.expect_symbol(";")
        return Algorithm(kind, name, join_tokens(self.tokens[start:self.pos]), first.line)

    # -- types --

    def type_decl(self) -> TypeDecl:
        line = self.advance().line
        name = self.name("a type name")
        self.expect_symbol("=")
        if self.tok.is_word("ENUMERATION"):
            self.advance()
            self.expect_word("OF")
            underlying = EnumerationType(tuple(self.names_in_parentheses("an enumeration item")))
        elif self.tok.is_word("SELECT"):
            self.advance()
            underlying = SelectType(tuple(self.names_in_parentheses("a select item")))
        elif self.tok.is_word("EXTENSIBLE", "GENERIC_ENTITY", "BASED_ON"):
            raise self.error(f"{self.tok.text} types are not read")
        else:
            underlying = self.type_ref()
        self.expect_symbol(";")
        decl = TypeDecl(name, underlying, line=line)
        if self.accept_word("WHERE"):
            decl.where = self.domain_rules("END_TYPE")
        self.expect_word("END_TYPE")
        self.expect_symbol(";")
        return decl

    def type_ref(self) -> TypeRef:
        t = self.tok
        if t.kind is not TokenKind.WORD:
            raise self.error(f"expected a type, found {self.shown(t)}")
        word = t.text.upper()
        if word in _AGGREGATES:
            return self.aggregate_type()
        if word in _PRIMITIVES:
            self.advance()
            width, fixed = None, False
            if self.tok.is_symbol("(") and word in ("STRING", "BINARY", "REAL"):
                self.advance()
                width = self.expression((")",), "width")
                self.expect_symbol(")")
            if word in ("STRING", "BINARY") and self.accept_word("FIXED"):
                if width is None:
                    raise self.error("FIXED needs a width", t)
                fixed = True
            return SimpleType(_PRIMITIVES[word], width, fixed)
        if word in ("GENERIC", "AGGREGATE", "GENERIC_ENTITY", "ENUMERATION", "SELECT"):
            raise self.error(f"{t.text} is not a type an attribute can have here")
        self.advance()
        return NamedType(t.text)

    def bounds(self) -> Optional[Tuple[str, str]]:
        """The bound texts of "[lower:upper]" where it stands next, else None."""
        if not self.accept_symbol("["):
            return None
        lower = self.expression((":",), "lower bound")
        self.expect_symbol(":")
        upper = self.expression(("]",), "upper bound")
        self.expect_symbol("]")
        return lower, upper

    def aggregate_type(self) -> AggregateType:
        t = self.advance()
        kind = _AGGREGATES[t.text.upper()]
        bounds = self.bounds()
        if bounds is None and kind is AggregateKind.ARRAY:
            raise self.error("an ARRAY needs bounds [lower:upper]")
        lower, upper = bounds or ("0", "?")
        self.expect_word("OF")
        optional = self.accept_word("OPTIONAL")
        unique = self.accept_word("UNIQUE")
        if optional and kind is not AggregateKind.ARRAY:
            raise self.error(f"only an ARRAY holds OPTIONAL elements, not a {kind.name}", t)
        if unique and kind not in (AggregateKind.LIST, AggregateKind.ARRAY):
            raise self.error(f"UNIQUE elements are for a LIST or an ARRAY, not a {kind.name}", t)
        return AggregateType(kind, lower, upper, self.type_ref(), unique, optional)

    def domain_rules(self, end: str) -> List[DomainRule]:
        rules = []
        while not self.tok.is_word(end):
            label = None
            if self.tok.kind is TokenKind.WORD and self.peek().is_symbol(":"):
                label = self.advance().text
                self.advance()
            rules.append(DomainRule(label, self.expression(what="rule")))
            self.expect_symbol(";")
        return rules

    # -- entities --

    def entity(self) -> Entity:
        line = self.advance().line
        entity = Entity(self.name("an entity name"), line=line)
        while not self.accept_symbol(";"):
            if self.accept_word("ABSTRACT"):
                entity.abstract = True
                if not self.tok.is_word("SUPERTYPE"):
                    continue
            if self.accept_word("SUPERTYPE"):
                if self.accept_word("OF"):
                    self.expect_symbol("(")
                    entity.supertype_of = self.supertype_expr()
                    self.expect_symbol(")")
            elif self.accept_word("SUBTYPE"):
                self.expect_word("OF")
                entity.supertypes = self.names_in_parentheses("a supertype name")
            elif self.tok.is_word(*_SECTIONS) or (self.tok.kind is TokenKind.WORD and self.peek().is_symbol(":", ",")):
                # The header lacks its ';' and the attributes begin: read on, and note it.
                self.notes.append(f"{self.path}:{self.tok.line}: the header of ENTITY {entity.name} "
                                  "is not closed by ';'")
                break
            else:
                raise self.error(f"expected ABSTRACT, SUPERTYPE, SUBTYPE or ';' after ENTITY {entity.name}, "
                                 f"found {self.shown(self.tok)}")
        while not self.tok.is_word(*_SECTIONS):
            entity.explicit += self.explicit_attributes()
        if self.accept_word("DERIVE"):
            while not self.tok.is_word(*_SECTIONS):
                entity.derived.append(self.derived_attribute())
        if self.accept_word("INVERSE"):
            while not self.tok.is_word(*_SECTIONS):
                entity.inverse.append(self.inverse_attribute())
        if self.accept_word("UNIQUE"):
            while not self.tok.is_word(*_SECTIONS):
                entity.unique.append(self.unique_rule())
        if self.accept_word("WHERE"):
            entity.where = self.domain_rules("END_ENTITY")
        if not self.tok.is_word("END_ENTITY"):
            raise self.error(f"expected END_ENTITY of {entity.name}, found {self.shown(self.tok)}"
                             " (sections go DERIVE, INVERSE, UNIQUE, WHERE)")
        self.advance()
        self.expect_symbol(";")
        return entity

    def supertype_expr(self) -> SupertypeExpr:
        """ANDOR binds less tightly than AND; ONEOF(...) and parentheses group."""
        def term() -> SupertypeExpr:
            if self.accept_word("ONEOF"):
                self.expect_symbol("(")
                operands = [andor()]
                while self.accept_symbol(","):
                    operands.append(andor())
                self.expect_symbol(")")
                return SupertypeExpr(SupertypeOp.ONEOF, operands=operands)
            if self.accept_symbol("("):
                inner = andor()
                self.expect_symbol(")")
                return inner
            return SupertypeExpr(SupertypeOp.NAME, name=self.name("a subtype name"))

        def chain(op: SupertypeOp, part) -> SupertypeExpr:
            operands = [part()]
            while self.accept_word(op.value):
                operands.append(part())
            return operands[0] if len(operands) == 1 else SupertypeExpr(op, operands=operands)

        def andor() -> SupertypeExpr:
            return chain(SupertypeOp.ANDOR, lambda: chain(SupertypeOp.AND, term))

        return andor()

    def attribute_ref(self) -> AttributeRef:
        if self.accept_word("SELF"):
            self.expect_symbol("\\")
            entity = self.name("an entity name after SELF\\")
            self.expect_symbol(".")
            return AttributeRef(self.name("an attribute name"), entity)
        return AttributeRef(self.name("an attribute name"))

    def explicit_attributes(self) -> List[ExplicitAttribute]:
        line = self.tok.line
        refs, renames = [], []
        while True:
            refs.append(self.attribute_ref())
            renames.append(self.name("a new name") if self.accept_word("RENAMED") else None)
            if not self.accept_symbol(","):
                break
        self.expect_symbol(":")
        optional = self.accept_word("OPTIONAL")
        type_ = self.type_ref()
        self.expect_symbol(";")
        return [ExplicitAttribute(r.name, type_, optional, r.entity, renamed, line)
                for r, renamed in zip(refs, renames)]

    def derived_attribute(self) -> DerivedAttribute:
        line = self.tok.line
        ref = self.attribute_ref()
        self.expect_symbol(":")
        type_ = self.type_ref()
        self.expect_symbol(":=")
        expression = self.expression(what="derivation")
        self.expect_symbol(";")
        return DerivedAttribute(ref.name, type_, expression, ref.entity, line)

    def inverse_attribute(self) -> InverseAttribute:
        line = self.tok.line
        name = self.name("an inverse attribute name")
        self.expect_symbol(":")
        aggregate = lower = upper = None
        if self.tok.is_word("SET", "BAG"):
            aggregate = _AGGREGATES[self.advance().text.upper()]
            lower, upper = self.bounds() or ("0", "?")
            self.expect_word("OF")
        elif self.tok.is_word("LIST", "ARRAY"):
            raise self.error(f"an inverse attribute is a SET, a BAG or a single reference, not a {self.tok.text}")
        entity = self.name("the referring entity")
        self.expect_word("FOR")
        attribute = self.name("the inverted attribute")
        if self.accept_symbol("."):
            attribute = self.name("the inverted attribute")
        self.expect_symbol(";")
        return InverseAttribute(name, aggregate, lower, upper, entity, attribute, line)

    def unique_rule(self) -> UniqueRule:
        label = None
        if self.tok.kind is TokenKind.WORD and self.peek().is_symbol(":"):
            label = self.advance().text
            self.advance()
        attributes = [self.attribute_ref()]
        while self.accept_symbol(","):
            attributes.append(self.attribute_ref())
        self.expect_symbol(";")
        return UniqueRule(label, attributes)


def parse(text: str, path: str = "<text>") -> Schema:
    """The schema of an EXPRESS text that holds one SCHEMA block."""
    return _Parser(text, path).schema()


def parse_file(path: str) -> Schema:
    with open(path, encoding="utf-8", errors="strict") as f:
        return parse(f.read(), path)
